#include "platform/linux/hidreportdescriptor.h"

#include <algorithm>
#include <array>
#include <vector>

namespace
{

// The item's prefix: size in bits 0 and 1, type in bits 2 and 3, tag above. The masks below leave
// the size out.
constexpr std::uint8_t longItem = 0xFE;
constexpr std::uint8_t inputItem = 0x80;
constexpr std::uint8_t outputItem = 0x90;
constexpr std::uint8_t featureItem = 0xB0;
constexpr std::uint8_t reportSizeItem = 0x74;
constexpr std::uint8_t reportIdItem = 0x84;
constexpr std::uint8_t reportCountItem = 0x94;
constexpr std::uint8_t pushItem = 0xA4;
constexpr std::uint8_t popItem = 0xB4;

// The kernel's own bounds: a descriptor beyond them never becomes a device.
constexpr std::size_t deepestStack = 4;
constexpr std::uint64_t longestReportBits = std::uint64_t{16384} * 8;

/// The global items that decide a report's length.
struct Globals
{
    std::uint32_t reportSize = 0;
    std::uint32_t reportCount = 0;
    std::uint8_t reportId = 0;
};

using BitsById = std::array<std::uint64_t, 256>;

int longestReport(const BitsById &bits)
{
    return static_cast<int>((*std::max_element(bits.begin(), bits.end()) + 7) / 8);
}

class Parser
{
public:
    /// False if the item cannot stand there.
    bool take(std::uint8_t item, std::uint32_t value)
    {
        switch (item) {
        case inputItem:
            return addField(input);
        case outputItem:
            return addField(output);
        case featureItem:
            return addField(feature);
        case reportSizeItem:
            globals.reportSize = value;
            return true;
        case reportCountItem:
            globals.reportCount = value;
            return true;
        case reportIdItem:
            return setReportId(value);
        case pushItem:
            stack.push_back(globals);
            return stack.size() <= deepestStack;
        case popItem:
            return pop();
        default:
            return true;
        }
    }

    [[nodiscard]] HidReportLengths lengths() const
    {
        return {longestReport(input), longestReport(output), longestReport(feature), usesReportIds};
    }

private:
    bool addField(BitsById &bits)
    {
        std::uint64_t &sum = bits[globals.reportId];
        sum += std::uint64_t(globals.reportSize) * globals.reportCount;
        return sum <= longestReportBits;
    }

    bool setReportId(std::uint32_t value)
    {
        globals.reportId = static_cast<std::uint8_t>(value);
        usesReportIds = true;
        return value >= 1 && value <= 255;
    }

    bool pop()
    {
        if (stack.empty())
            return false;
        globals = stack.back();
        stack.pop_back();
        return true;
    }

    Globals globals;
    std::vector<Globals> stack;
    BitsById input{};
    BitsById output{};
    BitsById feature{};
    bool usesReportIds = false;
};

std::uint32_t littleEndian(std::span<const std::uint8_t> bytes)
{
    std::uint32_t value = 0;
    for (std::size_t place = 0; place < bytes.size(); ++place)
        value |= std::uint32_t(bytes[place]) << (8 * place);
    return value;
}

} // namespace

std::optional<HidReportLengths> parseReportDescriptor(std::span<const std::uint8_t> descriptor)
{
    Parser parser;
    while (!descriptor.empty()) {
        const std::uint8_t prefix = descriptor[0];
        descriptor = descriptor.subspan(1);
        if (prefix == longItem) {
            // Its length, its tag and then its data, which nobody has given a meaning yet.
            if (descriptor.size() < 2 || descriptor.size() - 2 < descriptor[0])
                return std::nullopt;
            descriptor = descriptor.subspan(2 + descriptor[0]);
            continue;
        }
        const std::size_t size = (prefix & 3) == 3 ? 4 : prefix & 3;
        if (descriptor.size() < size)
            return std::nullopt;
        if (!parser.take(prefix & 0xFC, littleEndian(descriptor.first(size))))
            return std::nullopt;
        descriptor = descriptor.subspan(size);
    }
    return parser.lengths();
}
