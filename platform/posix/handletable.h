// The handle table: turns kernel objects into HANDLEs that may be closed while others use them.
#pragma once

#include "platform/basetypes.h"

#include <cstddef>
#include <memory>
#include <utility>

namespace posix
{

/// Something behind a handle. It lives until the handle is closed and the last Reference is
/// gone; whichever thread drops the last one destroys it.
class Object
{
public:
    Object() = default;
    Object(const Object &) = delete;
    Object &operator=(const Object &) = delete;
    virtual ~Object() = default;

    /// Called once, by the thread that closes the handle, while others may still be inside a
    /// call on the object: makes those calls end with a failure. Must not block.
    virtual void close() {}
};

/// Keeps an object alive for the length of one call. Empty when the handle names no open object.
class Reference
{
public:
    Reference() = default;
    Reference(Reference &&other) noexcept
        : object(std::exchange(other.object, nullptr)), slot(other.slot)
    {
    }
    Reference &operator=(Reference &&other) noexcept
    {
        std::swap(object, other.object);
        std::swap(slot, other.slot);
        return *this;
    }
    ~Reference();

    [[nodiscard]] Object *get() const { return object; }
    explicit operator bool() const { return object != nullptr; }

private:
    friend Reference acquire(HANDLE handle);
    Reference(Object *object, std::size_t slot) : object(object), slot(slot) {}

    Object *object = nullptr;
    std::size_t slot = 0;
};

/// The most handles that can be open at once.
inline constexpr std::size_t maximumHandles = 16384;

/// Gives the object a handle; null, with the object destroyed, when the table is full.
[[nodiscard]] HANDLE createHandle(std::unique_ptr<Object> object);

/// Lock-free, any thread. Null, INVALID_HANDLE_VALUE and closed handles give an empty reference.
[[nodiscard]] Reference acquire(HANDLE handle);

/// Closes the handle at once for newcomers and wakes those inside through Object::close().
/// False, with ERROR_INVALID_HANDLE, when it is not open; of two racing closers one succeeds.
bool closeHandle(HANDLE handle);

/// What closeHandle does about a handle that is none of the table's: Windows has its own events.
bool closeForeignHandle(HANDLE handle);

/// How many handles are open now.
[[nodiscard]] std::size_t openHandles();

/// A reference to an object of one type, empty when the handle names another.
template <typename T>
class ReferenceTo
{
public:
    explicit ReferenceTo(HANDLE handle)
        : reference(acquire(handle)), object(dynamic_cast<T *>(reference.get()))
    {
    }

    T *operator->() const { return object; }
    [[nodiscard]] T *get() const { return object; }
    explicit operator bool() const { return object != nullptr; }

private:
    Reference reference;
    T *object;
};

} // namespace posix
