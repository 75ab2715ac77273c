// Text to numbers as a stream of the classic locale reads them; numbers to text as the C library
// writes them; and back again.

#include "common/basic/text_cast.h"
#include "fuzz/expect.h"
#include "fuzz/wide_input.h"

#include <array>
#include <cstdio>
#include <locale>
#include <sstream>

using dovrel::literal_cast;
using dovrel::str_cast;
using dovrel::string;
using fuzz::expect;

namespace {

template <class T> void expectAsAStreamReads(std::wstring const& text)
{
    std::wistringstream in(text);
    in.imbue(std::locale::classic());
    T value{};
    in >> value;
    for (T const fallback : {T{9}, T{-77}})
        expect(literal_cast<T>(string(text.c_str()), fallback) == (in.fail() ? fallback : value));
}

template <class T> T numberIn(std::string const& bytes)
{
    T value{};
    std::memcpy(&value, bytes.data(), std::min(sizeof value, bytes.size()));
    return value;
}

template <class T> void expectDigits(std::string const& bytes)
{
    T const value = numberIn<T>(bytes);
    std::wstring const digits = std::to_wstring(value);
    expect(str_cast(value) == digits.c_str());
    expect(str_cast(value, string(L"a"), string(L"b")) == (L"ab" + digits).c_str());
}

template <class T> void expectTheSameBack(std::string const& bytes)
{
    T const value = numberIn<T>(bytes);
    expect(literal_cast<T>(string(std::to_wstring(value).c_str()), T{}) == value);
}

void expectFloat(float value)
{
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%g", static_cast<double>(value));
    expect(std::string(static_cast<char const*>(str_cast(value))) == text.data());
}

}

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    std::string const bytes(reinterpret_cast<char const*>(data), size);
    std::wstring const text = fuzz::untilZero(fuzz::wideText(bytes));
    expectAsAStreamReads<int>(text);
    expectAsAStreamReads<long>(text);
    expectAsAStreamReads<long long>(text);

    expectDigits<int>(bytes);
    expectDigits<unsigned int>(bytes);
    expectDigits<unsigned short>(bytes);
    expectDigits<unsigned long long>(bytes);
    expectTheSameBack<int>(bytes);
    expectTheSameBack<long>(bytes);
    expectTheSameBack<long long>(bytes);
    expectFloat(numberIn<float>(bytes));
    return 0;
}
