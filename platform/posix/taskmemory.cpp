#include "platform/posix/taskmemory.h"

#include <atomic>
#include <cstdlib>
#include <string>

namespace posix
{

namespace
{
std::atomic<std::size_t> blocks{0};
}

void *taskMemoryAlloc(std::size_t bytes)
{
    void *block = std::malloc(bytes > 0 ? bytes : 1);
    if (block)
        blocks.fetch_add(1, std::memory_order_relaxed);
    return block;
}

void taskMemoryFree(void *block)
{
    if (!block)
        return;
    std::free(block);
    blocks.fetch_sub(1, std::memory_order_relaxed);
}

std::size_t taskMemoryBlocks()
{
    return blocks.load(std::memory_order_relaxed);
}

LPWSTR taskMemoryString(const QString &text)
{
    const std::wstring wide = text.toStdWString();
    const std::size_t bytes = (wide.size() + 1) * sizeof(wchar_t);
    auto *copy = static_cast<LPWSTR>(taskMemoryAlloc(bytes));
    if (copy)
        std::memcpy(copy, wide.c_str(), bytes);
    return copy;
}

HRESULT propVariantClear(PROPVARIANT *value)
{
    if (!value)
        return E_POINTER;
    if (value->vt == VT_LPWSTR)
        taskMemoryFree(value->pwszVal);
    PropVariantInit(value);
    return S_OK;
}

} // namespace posix
