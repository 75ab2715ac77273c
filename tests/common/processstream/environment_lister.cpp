// Prints its environment in order, one entry in each line.

#include <unistd.h>

#include <cstdio>

int main()
{
    for (char** entry = environ; *entry; ++entry)
        std::puts(*entry);
}
