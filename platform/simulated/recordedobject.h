// The base of all interfaces that the simulated platform hands out.
#pragma once

#include "platform/posix/comobject.h"
#include "platform/simulated/census.h"
#include "platform/simulated/record.h"

namespace simulated
{

/// Records queries and the last release under the interface's name, and counts as live meanwhile.
template <typename First, typename... More>
class RecordedObject : public posix::ComObject<First, More...>
{
public:
    explicit RecordedObject(const char *name, const QString &endpointId = {})
        : name(QLatin1String(name)), endpointId(endpointId)
    {
        enterCensus(this, this->name);
    }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void **result) override
    {
        if (const auto fault = called("QueryInterface", nameOf(id))) {
            if (result)
                *result = nullptr;
            return *fault;
        }
        return posix::ComObject<First, More...>::QueryInterface(id, result);
    }

protected:
    /// Records "Interface::method arguments"; the injected fault if there is one.
    [[nodiscard]] std::optional<HRESULT> called(const char *method, const QString &arguments = {})
    {
        QString text = name + QLatin1String("::") + QLatin1String(method);
        if (!arguments.isEmpty())
            text += u' ' + arguments;
        return faultOf(text, endpointId);
    }

    void lastReferenceGone() override
    {
        record(QLatin1String("release ") + name, endpointId);
        leaveCensus(this);
    }

    const QString name;
    const QString endpointId;
};

} // namespace simulated
