// Feeds report descriptors to the parser: none reads beyond its end, and lengths stay in bounds.
#include "platform/linux/hidreportdescriptor.h"

#include <cstdlib>
#include <vector>

namespace
{
constexpr int longestReport = 16384;

void require(bool holds)
{
    if (!holds)
        std::abort();
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const auto lengths = parseReportDescriptor({data, size});
    if (!lengths)
        return 0;
    for (const int length : {lengths->input, lengths->output, lengths->feature})
        require(length >= 0 && length <= longestReport);

    // What is well-formed stays so with an item behind it that has no bearing on lengths.
    std::vector<std::uint8_t> longer(data, data + size);
    longer.push_back(0xC0);
    require(parseReportDescriptor(longer) == lengths);
    return 0;
}
