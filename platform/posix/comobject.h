// A base for reference-counted objects that are handed out through COM interfaces.
#pragma once

#include "platform/posix/interfaces.h"
#include "platform/posix/offered.h"

#include <atomic>
#include <cstddef>
#include <type_traits>

namespace posix
{

/// Objects made from ComObject that are still alive.
[[nodiscard]] std::size_t liveComObjects();

/// Counts the living.
class ComObjectCensus
{
protected:
    ComObjectCensus();
    ~ComObjectCensus();
    ComObjectCensus(const ComObjectCensus &) = delete;
    ComObjectCensus &operator=(const ComObjectCensus &) = delete;
};

/// Implements IUnknown for a class that offers the listed interfaces and those they extend. Starts
/// with one reference, the creator's; the last Release deletes the object. The first interface is
/// its identity, what a query for IUnknown gives.
template <typename First, typename... More>
class ComObject : public Offered<First>::Type,
                  public Offered<More>::Type...,
                  private ComObjectCensus
{
public:
    virtual ~ComObject() = default;

    /// E_NOINTERFACE with a null *result for an interface that is not listed.
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void **result) override
    {
        if (!result)
            return E_POINTER;
        *result = id == IID_IUnknown ? static_cast<First *>(this) : find<First, More...>(id);
        if (!*result)
            return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }

    ULONG STDMETHODCALLTYPE AddRef() override
    {
        return references.fetch_add(1, std::memory_order_relaxed) + 1;
    }

    ULONG STDMETHODCALLTYPE Release() override
    {
        const ULONG left = references.fetch_sub(1, std::memory_order_acq_rel) - 1;
        if (left == 0) {
            lastReferenceGone();
            delete this;
        }
        return left;
    }

protected:
    /// Called before the object is deleted by its last Release.
    virtual void lastReferenceGone() {}

private:
    template <typename Interface, typename... Others>
    void *find(REFIID id)
    {
        if (answersTo<Interface>(id))
            return static_cast<Interface *>(this);
        if constexpr (sizeof...(Others) > 0)
            return find<Others...>(id);
        return nullptr;
    }

    template <typename Interface>
    static bool answersTo(REFIID id)
    {
        using Base = typename InterfaceInfo<Interface>::Base;
        if (id == InterfaceInfo<Interface>::id)
            return true;
        if constexpr (!std::is_same_v<Base, IUnknown>)
            return answersTo<Base>(id);
        return false;
    }

    std::atomic<ULONG> references{1};
};

} // namespace posix
