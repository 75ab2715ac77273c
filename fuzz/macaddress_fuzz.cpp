// A MAC address is read as six or eight hexadecimal numbers with one character between two, and is
// the same after it was written and read.

#include "common/basic/text_cast.h"
#include "fuzz/expect.h"
#include "fuzz/wide_input.h"

#include <array>
#include <optional>
#include <sstream>
#include <vector>

using dovrel::macaddress_cpp;
using fuzz::expect;

namespace {

constexpr wchar_t const* HEXADECIMAL = L"0123456789abcdefABCDEF";

bool isAt(std::wstring const& text, size_t at, wchar_t const* characters)
{
    return at < text.size() && std::wstring(characters).find(text[at]) != std::wstring::npos;
}

/** Reads blanks, a sign, "0x" and hexadecimal digits. @return the low 8 bits; nothing without
 * digits or beyond 32 bits. */
std::optional<uint8_t> takeNumber(std::wstring const& text, size_t& at)
{
    while (isAt(text, at, L" \t\n\v\f\r"))
        ++at;
    bool const isNegative = isAt(text, at, L"-");
    if (isAt(text, at, L"+-"))
        ++at;
    bool const isPrefixed = isAt(text, at, L"0") && isAt(text, at + 1, L"xX");
    if (isPrefixed)
        at += 2;
    size_t const begin = at;
    while (isAt(text, at, HEXADECIMAL))
        ++at;
    std::wstring digits = text.substr(begin, at - begin);
    if (digits.empty())
        return std::nullopt;
    digits.erase(0, std::min(digits.find_first_not_of(L'0'), digits.size() - 1));
    if (digits.size() > 8)
        return std::nullopt;
    auto const number = static_cast<uint8_t>(std::stoul(digits, nullptr, 16));
    return isNegative ? static_cast<uint8_t>(-number) : number;
}

struct Reading {
    std::vector<uint8_t> bytes;
    bool isComplete = false;
};

Reading readAddress(std::wstring const& text)
{
    Reading reading;
    for (size_t at = 0; reading.bytes.size() < macaddress_cpp::SIZE; ++at) {
        auto const number = takeNumber(text, at);
        if (!number)
            return reading;
        reading.bytes.push_back(*number);
        if (!isAt(text, at, L":-")) {
            reading.isComplete = reading.bytes.size() == 6 || reading.bytes.size() == 8;
            return reading;
        }
    }
    reading.isComplete = true; // With a separator behind the eighth.
    return reading;
}

}

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    std::string const bytes(reinterpret_cast<char const*>(data), size);
    std::wstring const text = fuzz::untilZero(fuzz::wideText(bytes));
    Reading const expected = readAddress(text);

    macaddress_cpp fallback;
    fallback[0] = 0xEE;
    macaddress_cpp address = fallback;
    std::wistringstream in(text);
    in >> address;
    expect(in.good() == expected.isComplete);
    for (unsigned i = 0; i < expected.bytes.size(); ++i)
        expect(address[i] == expected.bytes[i]);
    if (expected.isComplete && expected.bytes.size() == 6)
        expect(address[6] == 0 && address[7] == 0);

    dovrel::string const whole = text.c_str();
    expect(dovrel::literal_cast(whole, fallback) == (expected.isComplete ? address : fallback));
    expect(dovrel::literal_cast(dovrel::str_cast(address), fallback) == address);
    return 0;
}
