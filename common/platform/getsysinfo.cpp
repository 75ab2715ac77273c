#include "common/platform/getsysinfo.h"

#include <cstring>
#include <initializer_list>

extern "C" [[gnu::weak]] int getsysinfo(char* vendor, char* product, char* version, int* code)
{
    for (char* text : {vendor, product, version})
        std::memset(text, 0, GETSYSINFO_TEXT_SIZE);
    *code = 0;
    return -1;
}
