#pragma once

#include <string>

/** Sets the C library's LC_CTYPE and restores the former one at its end. */
class LocaleScope {
public:
    /**
     * @param name "C", "C.UTF-8", or a locale that the build compiles: "ISO-8859-1"; "SHIFT_JIS",
     * where byte 0x5C is a yen sign and 0x7E an overline; "BS_4730", where byte 0x23 is a pound
     * sign and no byte is a number sign; "BIG5-HKSCS", which holds U+00CA back until the next
     * character, because both may combine; "ISO-8859-9", which lowers "I" to a letter beyond ASCII
     * as Turkish does.
     * @throws std::runtime_error if there is no such locale.
     */
    explicit LocaleScope(char const* name);
    LocaleScope(LocaleScope const&) = delete;
    LocaleScope& operator=(LocaleScope const&) = delete;
    ~LocaleScope();

private:
    std::string m_former;
};
