// A program to be asked for its name. It tells when it runs, and ends when its input does.
#include <cstdio>

int main()
{
    std::puts("ready");
    std::fflush(stdout);
    while (std::getchar() != EOF)
        continue;
    return 0;
}
