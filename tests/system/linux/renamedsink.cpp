// Offers the sink "renamed" and gives it each line of the input as its description.
#include "renamedsink.h"

#include <iostream>
#include <string>

int main()
{
    RenamedSink sink;
    for (std::string line; std::getline(std::cin, line);)
        sink.rename(line.c_str());
}
