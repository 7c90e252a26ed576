#include "streams/drivercommand.h"

#include <algorithm>

CommandBlock commandBlock(uchar channel, bool closing, uchar command)
{
    CommandBlock block{};
    block[0] = channel;
    block[1] = closing ? 1 : 0;
    block[2] = command;
    return block;
}

DWORD commandLength(const CommandBlock &block)
{
    const auto end = std::find(block.begin(), block.end(), uchar{0});
    return static_cast<DWORD>(end - block.begin());
}

void writeCommand(HANDLE file, const CommandBlock &block)
{
    DWORD written = 0;
    WriteFile(file, block.data(), commandLength(block), &written, nullptr);
}

void prepareReadRequest(ReadBlock &block, uchar channel)
{
    constexpr uchar readRequest = 1;
    block.fill(0);
    block[0] = channel;
    block[2] = readRequest;
}
