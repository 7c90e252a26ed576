#include "tests/unit/engines/swresamplefaults.h"

#include <QMap>
#include <QMutex>

#include <optional>

extern "C" {
#include <libavutil/opt.h>
#include <libavutil/samplefmt.h>
#include <libswresample/swresample.h>
}

namespace
{

QMutex mutex;
QStringList recorded;
QMap<QString, int> pending;
QMap<QString, std::function<void()>> actions;

/// Records the call; the code to fail with, if it is to fail.
std::optional<int> enter(const QString &function, const QString &detail = {})
{
    QMutexLocker locker(&mutex);
    recorded.append(detail.isEmpty() ? function : function + ' ' + detail);
    std::optional<int> code;
    if (pending.contains(function))
        code = pending.take(function);
    const auto action = actions.value(function);
    locker.unlock();
    if (action)
        action();
    return code;
}

} // namespace

void swresamplefaults::reset()
{
    const QMutexLocker locker(&mutex);
    recorded.clear();
    pending.clear();
    actions.clear();
}

void swresamplefaults::failNext(const char *function, int code)
{
    const QMutexLocker locker(&mutex);
    pending.insert(function, code);
}

void swresamplefaults::onCall(const char *function, std::function<void()> action)
{
    const QMutexLocker locker(&mutex);
    actions.insert(function, std::move(action));
}

QStringList swresamplefaults::calls()
{
    const QMutexLocker locker(&mutex);
    return recorded;
}

// The names are the linker's.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

SwrContext *__real_swr_alloc();
SwrContext *__wrap_swr_alloc()
{
    return enter("swr_alloc") ? nullptr : __real_swr_alloc();
}

int __real_swr_init(SwrContext *context);
int __wrap_swr_init(SwrContext *context)
{
    const auto code = enter("swr_init");
    return code ? *code : __real_swr_init(context);
}

void __real_swr_free(SwrContext **context);
void __wrap_swr_free(SwrContext **context)
{
    if (*context)
        enter("swr_free");
    __real_swr_free(context);
}

int64_t __real_swr_get_delay(SwrContext *context, int64_t base);
int64_t __wrap_swr_get_delay(SwrContext *context, int64_t base)
{
    enter("swr_get_delay");
    return __real_swr_get_delay(context, base);
}

int __real_swr_convert(SwrContext *context, uint8_t **out, int outCount, const uint8_t **in,
                       int inCount);
int __wrap_swr_convert(SwrContext *context, uint8_t **out, int outCount, const uint8_t **in,
                       int inCount)
{
    const auto code = enter("swr_convert");
    return code ? *code : __real_swr_convert(context, out, outCount, in, inCount);
}

int __real_av_samples_alloc_array_and_samples(uint8_t ***data, int *lineSize, int channels,
                                              int samples, AVSampleFormat format, int align);
int __wrap_av_samples_alloc_array_and_samples(uint8_t ***data, int *lineSize, int channels,
                                              int samples, AVSampleFormat format, int align)
{
    const auto code =
        enter("av_samples_alloc_array_and_samples",
              QString("%1 %2 %3 %4").arg(channels).arg(samples).arg(format).arg(align));
    return code ? *code
                : __real_av_samples_alloc_array_and_samples(data, lineSize, channels, samples,
                                                            format, align);
}

int __real_av_opt_set_int(void *object, const char *name, int64_t value, int flags);
int __wrap_av_opt_set_int(void *object, const char *name, int64_t value, int flags)
{
    enter("av_opt_set_int", QString("%1 %2 %3").arg(name).arg(value).arg(flags));
    return __real_av_opt_set_int(object, name, value, flags);
}

int __real_av_opt_set_sample_fmt(void *object, const char *name, AVSampleFormat format, int flags);
int __wrap_av_opt_set_sample_fmt(void *object, const char *name, AVSampleFormat format, int flags)
{
    enter("av_opt_set_sample_fmt", QString("%1 %2 %3").arg(name).arg(int(format)).arg(flags));
    return __real_av_opt_set_sample_fmt(object, name, format, flags);
}

int __real_av_opt_set_chlayout(void *object, const char *name, const AVChannelLayout *layout,
                               int flags);
int __wrap_av_opt_set_chlayout(void *object, const char *name, const AVChannelLayout *layout,
                               int flags)
{
    enter("av_opt_set_chlayout", QString("%1 %2 %3").arg(name).arg(layout->nb_channels).arg(flags));
    return __real_av_opt_set_chlayout(object, name, layout, flags);
}

} // extern "C"
// NOLINTEND(bugprone-reserved-identifier)
