// The front of crash capture.
#pragma once

#include <QObject>
#include <QString>

#include <memory>

/// Knows where crash dumps go and announces each one. One object for the process.
class QBreakpadHandler : public QObject
{
    Q_OBJECT

public:
    ~QBreakpadHandler() override;

    /// The one object, made on first use. Any thread.
    static QBreakpadHandler &instance();

    /// Chooses the directory for dumps and makes it, parents included. A relative path is taken
    /// from the program's directory. A directory that cannot be made changes nothing.
    void setDumpPath(const QString &path);
    /// Empty until a directory has been set.
    [[nodiscard]] QString dumpPath() const;

signals:
    /// A dump has been written, or its writing has failed; the path without its extension.
    void sigDumpCallBack(QString dumpFileName);

private:
    struct Private;

    QBreakpadHandler();

    const std::unique_ptr<Private> d;
};
