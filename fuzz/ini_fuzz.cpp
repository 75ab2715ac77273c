// The entries of an INI file agree with the reference parser.

#include "common/basic/IniFile.h"
#include "tests/common/basic/MemoryFile.h"
#include "tests/reference/ini.h"

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <sstream>

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    static char const* const locale = std::setlocale(LC_CTYPE, "C.UTF-8");
    std::string const text(reinterpret_cast<char const*>(data), size);
    MemoryFile const source(text);
    dovrel::IniFile const file(source.path(), true, false, false);
    std::string const difference = reference::Ini(text).differenceFrom(file);
    if (!locale || file.savedError() != 0 || !difference.empty()) {
        std::fprintf(stderr, "%s\n", difference.c_str());
        std::abort();
    }
    std::ostringstream dump;
    dovrel::IniFile(file).Dump(dump, L"*");
    if (!dump)
        std::abort();
    return 0;
}
