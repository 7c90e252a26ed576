// PulseConnection: requests for single streams.
#include "platform/linux/mainlooplock.h"
#include "platform/linux/pulseconnection.h"

namespace pulse
{
namespace
{
using namespace std::chrono_literals;

constexpr std::chrono::milliseconds moveBound = 2000ms;

pa_operation *move(pa_context *context, const Session &stream, const Endpoint &target,
                   pa_context_success_cb_t callback, void *data)
{
    const auto request = stream.flow == eRender ? &pa_context_move_sink_input_by_name
                                                : &pa_context_move_source_output_by_name;
    return request(context, stream.stream, target.nodeName.toUtf8().constData(), callback, data);
}

HRESULT onItsWay(pa_operation *operation)
{
    if (!operation)
        return AUDCLNT_E_DEVICE_INVALIDATED;
    pa_operation_unref(operation);
    return S_OK;
}
} // namespace

HRESULT PulseConnection::setStreamVolume(const QString &session, float scalar, const GUID &guid)
{
    const MainloopLock lock(mainloop);
    const auto request = context ? sessions.requestVolume(session, scalar, guid) : std::nullopt;
    if (!request)
        return AUDCLNT_E_DEVICE_INVALIDATED;
    const auto set = request->flow == eRender ? &pa_context_set_sink_input_volume
                                              : &pa_context_set_source_output_volume;
    return onItsWay(set(context, request->index, &request->volume, nullptr, nullptr));
}

HRESULT PulseConnection::setStreamMute(const QString &session, bool muted, const GUID &guid)
{
    const MainloopLock lock(mainloop);
    const auto request = context ? sessions.requestMute(session, muted, guid) : std::nullopt;
    if (!request)
        return AUDCLNT_E_DEVICE_INVALIDATED;
    const auto set = request->flow == eRender ? &pa_context_set_sink_input_mute
                                              : &pa_context_set_source_output_mute;
    return onItsWay(set(context, request->index, muted ? 1 : 0, nullptr, nullptr));
}

HRESULT PulseConnection::moveStreams(const std::vector<Session> &streams, const Endpoint &target)
{
    const auto answers = std::make_shared<MoveAnswers>();
    const auto onAnswer = [](pa_context *, int success, void *data) {
        auto *move = static_cast<StreamMoves::Move *>(data);
        move->owner->settle(*move, success != 0);
    };
    {
        const MainloopLock lock(mainloop);
        if (!context)
            return AUDCLNT_E_DEVICE_INVALIDATED;
        for (const Session &stream : streams) {
            StreamMoves::Move &asked = moves.add(answers);
            if (pa_operation *operation = move(context, stream, target, onAnswer, &asked))
                pa_operation_unref(operation);
            else
                moves.settle(asked, false);
        }
    }
    return answers->await(moveBound) ? S_OK : E_ACCESSDENIED;
}

void PulseConnection::moveStreamHere(const Session &stream, const Endpoint &target)
{
    if (pa_operation *operation =
            context ? move(context, stream, target, nullptr, nullptr) : nullptr)
        pa_operation_unref(operation);
}
} // namespace pulse
