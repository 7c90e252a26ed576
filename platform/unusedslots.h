// Room in a virtual table for methods that nobody calls.
#pragma once

#include "platform/coreaudio.h"

#include <type_traits>

/// Extends an interface by that many methods, so that what is declared behind them stands in its
/// own slot. Those who implement the interface need not know them.
template <typename Base, int Count>
struct UnusedSlots : public UnusedSlots<Base, Count - 1>
{
    using UnusedSlots<Base, Count - 1>::unused;
    virtual HRESULT STDMETHODCALLTYPE unused(std::integral_constant<int, Count>)
    {
        return E_NOTIMPL;
    }

protected:
    ~UnusedSlots() = default;
};

template <typename Base>
struct UnusedSlots<Base, 1> : public Base
{
    virtual HRESULT STDMETHODCALLTYPE unused(std::integral_constant<int, 1>) { return E_NOTIMPL; }

protected:
    ~UnusedSlots() = default;
};
