#pragma once

#include "common/basic/IniFile.h"
#include "tests/common/basic/MemoryFile.h"

/** Reads a file that must exist. */
inline dovrel::IniFile readIni(std::string const& path)
{
    return {path, true, false, false};
}

/** Reads a file with these contents. */
inline dovrel::IniFile parseIni(std::string_view text)
{
    return readIni(MemoryFile(text).path());
}
