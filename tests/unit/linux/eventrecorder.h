// Writes down what the dispatcher delivers, one short text an event.
#pragma once

#include "platform/linux/dispatcher.h"

#include <QMutex>
#include <QSemaphore>
#include <QStringList>

class EventRecorder
{
public:
    explicit EventRecorder(pulse::Dispatcher &dispatcher) : dispatcher(dispatcher)
    {
        listen(QString());
    }
    ~EventRecorder()
    {
        for (const auto token : tokens)
            dispatcher.unsubscribe(token);
    }

    /// Records the levels of an endpoint too.
    void listen(const QString &topic)
    {
        tokens.push_back(dispatcher.subscribe(topic, [this](const pulse::Event &event) {
            const QMutexLocker lock(&mutex);
            texts += std::visit([](const auto &each) { return text(each); }, event);
        }));
    }

    /// What was posted until now, and not taken before.
    QStringList take()
    {
        QSemaphore passed;
        const auto token = dispatcher.subscribe(
            QStringLiteral("mark"), [&passed](const pulse::Event &) { passed.release(); });
        dispatcher.post(pulse::LevelEvent{QStringLiteral("mark"), GUID_NULL, false, 0.0f, {}});
        passed.acquire();
        dispatcher.unsubscribe(token);
        const QMutexLocker lock(&mutex);
        return std::exchange(texts, {});
    }

private:
    static QString text(const pulse::DeviceEvent &event)
    {
        switch (event.kind) {
        case pulse::DeviceEvent::Added:
            return QStringLiteral("added ") + event.id;
        case pulse::DeviceEvent::Removed:
            return QStringLiteral("removed ") + event.id;
        case pulse::DeviceEvent::StateChanged:
            return QStringLiteral("state %1 %2").arg(event.state).arg(event.id);
        case pulse::DeviceEvent::DefaultChanged:
            return QStringLiteral("default %1 %2").arg(event.flow).arg(event.id);
        case pulse::DeviceEvent::NameChanged:
            return QStringLiteral("name ") + event.id;
        }
        return QStringLiteral("?");
    }
    static QString text(const pulse::LevelEvent &event)
    {
        return QStringLiteral("level %1 %2 %3 context %4")
            .arg(qRound(event.scalar * 100))
            .arg(event.muted ? "muted" : "open", event.id)
            .arg(event.context.Data1);
    }
    static QString text(const pulse::SessionEvent &event)
    {
        return QStringLiteral("session %1 %2").arg(event.kind).arg(event.session);
    }

    pulse::Dispatcher &dispatcher;
    std::vector<pulse::Dispatcher::Token> tokens;
    QMutex mutex;
    QStringList texts;
};
