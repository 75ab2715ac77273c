#pragma once

#include <string>

/** Sets the C library's LC_CTYPE as long as it lives, then brings the former one back. */
class LocaleScope {
public:
    /**
     * @param name "C", "C.UTF-8", or one of the encodings that the build makes locales of:
     * "ISO-8859-1", "SHIFT_JIS" (where byte 0x5C is a yen sign and 0x7E an overline), "BS_4730"
     * (where byte 0x23 is a pound sign and nothing is a number sign), "BIG5-HKSCS" (where U+00CA is
     * held back until the next character, which may combine with it) and "ISO-8859-9" (which
     * lowers "I" as Turkish does, to a letter that is not ASCII).
     * @throws std::runtime_error where there is no such locale.
     */
    explicit LocaleScope(char const* name);
    LocaleScope(LocaleScope const&) = delete;
    LocaleScope& operator=(LocaleScope const&) = delete;
    ~LocaleScope();

private:
    std::string m_former;
};
