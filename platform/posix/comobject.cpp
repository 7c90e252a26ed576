#include "platform/posix/comobject.h"

namespace posix
{

namespace
{
std::atomic<std::size_t> living{0};
}

std::size_t liveComObjects()
{
    return living.load(std::memory_order_relaxed);
}

ComObjectCensus::ComObjectCensus()
{
    living.fetch_add(1, std::memory_order_relaxed);
}

ComObjectCensus::~ComObjectCensus()
{
    living.fetch_sub(1, std::memory_order_relaxed);
}

} // namespace posix
