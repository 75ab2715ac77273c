// Prints its environment, an entry a line, in order.

#include <unistd.h>

#include <cstdio>

int main()
{
    for (char** entry = environ; *entry; ++entry)
        std::puts(*entry);
}
