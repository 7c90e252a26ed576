// A small owning pointer for COM interfaces.
#pragma once

#include <utility>

/// Owns one reference. No implicit conversions; copies add a reference.
template <typename T>
class ComPtr
{
public:
    ComPtr() = default;
    ComPtr(std::nullptr_t) {}
    ComPtr(const ComPtr &other) : pointer(other.pointer)
    {
        if (pointer)
            pointer->AddRef();
    }
    ComPtr(ComPtr &&other) noexcept : pointer(std::exchange(other.pointer, nullptr)) {}
    ComPtr &operator=(ComPtr other) noexcept
    {
        std::swap(pointer, other.pointer);
        return *this;
    }
    ~ComPtr() { reset(); }

    /// Takes over a reference that the caller owns.
    static ComPtr adopt(T *owned)
    {
        ComPtr result;
        result.pointer = owned;
        return result;
    }
    /// Adds a reference of its own.
    static ComPtr retain(T *borrowed)
    {
        if (borrowed)
            borrowed->AddRef();
        return adopt(borrowed);
    }

    /// Releases what is held and offers the empty place to an out-parameter.
    [[nodiscard]] T **receive()
    {
        reset();
        return &pointer;
    }
    /// The same for out-parameters of type void **.
    [[nodiscard]] void **receiveVoid() { return reinterpret_cast<void **>(receive()); }

    void reset()
    {
        if (T *old = std::exchange(pointer, nullptr))
            old->Release();
    }
    /// Gives the reference up to the caller.
    [[nodiscard]] T *detach() { return std::exchange(pointer, nullptr); }

    [[nodiscard]] T *get() const { return pointer; }
    T *operator->() const { return pointer; }
    explicit operator bool() const { return pointer != nullptr; }

private:
    T *pointer = nullptr;
};
