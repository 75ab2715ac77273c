#include "common/basic/wide_string.h"

#include "common/basic/ascii_text.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <memory>
#include <new>
#include <utility>

namespace dovrel {

namespace {

constexpr unsigned LONGEST = basic_string::WHOLE_TEXT - 1;

unsigned boundedLength(wchar_t const* text, unsigned count)
{
    if (!text)
        return 0;
    // Most texts are so short that a loop is faster than a call of wcsnlen.
    constexpr unsigned SHORT = 8;
    for (unsigned at = 0; at < SHORT; ++at)
        if (at == count || text[at] == L'\0')
            return at;
    return SHORT + static_cast<unsigned>(wcsnlen(text + SHORT, std::min(count, LONGEST) - SHORT));
}

/** @return the terminated text in the locale's encoding, in an array of its size; null if a
 * character cannot be encoded or takes more than four bytes. */
// Not inline: the conversion of an ASCII text, the usual one, would need the large stack frame too.
[[gnu::noinline]] std::unique_ptr<char[]> encoded(wchar_t const* text, size_t length)
{
    char stackBuffer[1024];
    std::unique_ptr<char[]> heapBuffer;
    size_t const size = length * 4 + 1;
    if (size > sizeof stackBuffer)
        heapBuffer.reset(new char[size]);
    char* const buffer = heapBuffer ? heapBuffer.get() : stackBuffer;
    std::mbstate_t state{};
    size_t const bytes = wcsnrtombs(buffer, &text, length + 1, size, &state);
    if (bytes == static_cast<size_t>(-1) || text)
        return nullptr;
    std::unique_ptr<char[]> narrow(new char[bytes + 1]);
    std::memcpy(narrow.get(), buffer, bytes + 1);
    return narrow;
}

std::unique_ptr<char[]> encodedWithSubstitutes(wchar_t const* text, unsigned length)
{
    unsigned size = 0;
    safe_wcstombs_s(&size, nullptr, 0, text, length);
    std::unique_ptr<char[]> narrow(new char[size]);
    unsigned written = 0;
    safe_wcstombs_s(&written, narrow.get(), size, text, length);
    narrow[size - 1] = '\0';
    return narrow;
}

}

basic_string::basic_string(wchar_t const* text, unsigned count) : basic_string()
{
    store(text, boundedLength(text, count));
}

basic_string::basic_string(basic_string const& other)
    : m_heap(nullptr), m_length(other.m_length), m_capacity(other.m_length)
{
    if (other.m_length < SMALL_BUFFER_SIZE) {
        std::memcpy(m_small, other.m_small, sizeof m_small);
    } else {
        m_small[0] = L'\0';
        m_heap = new wchar_t[size_t{m_length} + 1];
        std::wmemcpy(m_heap, other.m_heap, size_t{m_length} + 1);
    }
}

basic_string::basic_string(basic_string&& other) noexcept
{
    take(other);
}

basic_string& basic_string::operator=(basic_string const& other)
{
    if (this != &other)
        store(other.c_str(), other.m_length);
    return *this;
}

basic_string& basic_string::operator=(basic_string&& other) noexcept
{
    if (this == &other)
        return *this;
    if (other.m_length <= m_capacity) {
        store(other.c_str(), other.m_length); // Keeps this object's block, as a copy does.
    } else {
        delete[] m_heap;
        take(other);
    }
    return *this;
}

basic_string& basic_string::operator=(wchar_t const* text)
{
    Allocate_Memory_Or_Use_Small_Buffer(text);
    return *this;
}

void basic_string::Allocate_Memory_Or_Use_Small_Buffer(wchar_t const* text, unsigned count)
{
    store(text, boundedLength(text, count));
}

void basic_string::store(wchar_t const* text, unsigned length)
{
    wchar_t* const destination = makeRoom(length);
    if (length > 0)
        // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDelete): see makeRoom()
        std::wmemmove(destination, text, length);
    finish(length);
}

void basic_string::adopt(std::unique_ptr<wchar_t[]> block, unsigned length)
{
    if (length < SMALL_BUFFER_SIZE) {
        store(block.get(), length);
        return;
    }
    delete[] m_heap;
    m_heap = block.release();
    m_capacity = length;
    finish(length);
}

// Frees the block only to allocate a larger one. A source within this object's own text always fits
// the block, so that the block stays valid.
wchar_t* basic_string::makeRoom(unsigned length)
{
    bool const small = length < SMALL_BUFFER_SIZE;
    if (m_capacity < length) {
        wchar_t* const grown = small ? nullptr : new wchar_t[size_t{length} + 1];
        delete[] m_heap;
        m_heap = grown;
        m_capacity = length;
    }
    return small ? m_small : m_heap;
}

void basic_string::finish(unsigned length) noexcept
{
    m_length = length;
    if (length < SMALL_BUFFER_SIZE) {
        m_small[length] = L'\0';
        if (m_heap)
            m_heap[0] = L'\0';
    } else {
        m_small[0] = L'\0';
        m_heap[length] = L'\0';
    }
}

void basic_string::take(basic_string& other) noexcept
{
    std::memcpy(m_small, other.m_small, sizeof m_small);
    other.m_small[0] = L'\0';
    m_heap = std::exchange(other.m_heap, nullptr);
    m_length = std::exchange(other.m_length, 0);
    m_capacity = std::exchange(other.m_capacity, 0);
}

basic_string& basic_string::operator+=(basic_string const& other)
{
    append(other.c_str(), other.m_length);
    return *this;
}

void basic_string::append(wchar_t const* text, unsigned count)
{
    if (count > LONGEST - m_length)
        throw std::bad_alloc();
    unsigned const length = m_length + count;
    if (length >= SMALL_BUFFER_SIZE && m_capacity < length) {
        // Grows by half, so that many short appends copy the text only a few times.
        unsigned const grownCapacity =
            std::max(length, m_capacity + std::min(m_capacity / 2, LONGEST - m_capacity));
        wchar_t* const grown = new wchar_t[size_t{grownCapacity} + 1];
        std::wmemcpy(grown, c_str(), m_length);
        std::wmemcpy(grown + m_length, text, count);
        delete[] m_heap;
        m_heap = grown;
        m_capacity = grownCapacity;
    } else {
        wchar_t const* const current = c_str();
        wchar_t* const destination = makeRoom(length);
        if (destination != current)
            // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDelete): see makeRoom()
            std::wmemcpy(destination, current, m_length);
        std::wmemmove(destination + m_length, text, count);
    }
    finish(length);
}

void basic_string::swap(basic_string& other) noexcept
{
    std::swap(m_small, other.m_small);
    std::swap(m_heap, other.m_heap);
    std::swap(m_length, other.m_length);
    std::swap(m_capacity, other.m_capacity);
}

int basic_string::compare(basic_string const& other) const noexcept
{
    int const common = std::wmemcmp(c_str(), other.c_str(), std::min(m_length, other.m_length));
    if (common != 0 || m_length == other.m_length)
        return common;
    return m_length < other.m_length ? -1 : 1;
}

string::basic_char_string::basic_char_string(basic_char_string const& other)
{
    if (!other.m_text)
        return;
    size_t const size = std::strlen(other.m_text) + 1;
    m_text = new char[size];
    std::memcpy(m_text, other.m_text, size);
}

string::basic_char_string::basic_char_string(basic_char_string&& other) noexcept
    : m_text(std::exchange(other.m_text, nullptr))
{
}

string::basic_char_string& string::basic_char_string::operator=(basic_char_string&& other) noexcept
{
    if (this != &other)
        reset(std::exchange(other.m_text, nullptr));
    return *this;
}

char const* string::basic_char_string::c_str() const noexcept
{
    static char const dummy[] = "";
    return m_text ? m_text : dummy;
}

void string::basic_char_string::reset(char* text) noexcept
{
    delete[] m_text;
    m_text = text;
}

string::string(wchar_t const* text, unsigned count) : basic_string(text, count)
{
}

string::string(char const* text, unsigned count)
{
    storeNarrow(text, count);
}

string::string(std::string const& text) : string(text.c_str())
{
}

string::string(string const& other) = default;

string& string::operator=(string const& other)
{
    basic_string::operator=(other);
    m_narrow.reset();
    return *this;
}

string& string::operator=(wchar_t const* text)
{
    Allocate_Memory_Or_Use_Small_Buffer(text);
    m_narrow.reset();
    return *this;
}

string& string::operator=(char const* text)
{
    storeNarrow(text, WHOLE_TEXT);
    m_narrow.reset();
    return *this;
}

string& string::operator=(std::string const& text)
{
    return *this = text.c_str();
}

void string::storeNarrow(char const* text, unsigned count)
{
    size_t const length = text ? std::min<size_t>({std::strlen(text), count, LONGEST}) : 0;
    if (ascii_text::isAscii(text, length) && ascii_text::localeExtendsAscii()) {
        auto const characters = static_cast<unsigned>(length);
        ascii_text::widen(text, characters, makeRoom(characters));
        finish(characters);
        return;
    }
    // Seven characters, which must not allocate, take fewer bytes than this in any encoding.
    constexpr size_t STACK_SIZE = 7 * MB_LEN_MAX + 1;
    wchar_t stackBuffer[STACK_SIZE];
    std::unique_ptr<wchar_t[]> heapBuffer;
    if (length >= STACK_SIZE)
        heapBuffer.reset(new wchar_t[length + 1]);
    wchar_t* const wide = heapBuffer ? heapBuffer.get() : stackBuffer;
    size_t converted = std::mbstowcs(wide, text, length);
    // Kept: one invalid sequence replaces the whole text by question marks, so that a damaged name
    // does not look like a valid one.
    if (converted == static_cast<size_t>(-1)) {
        std::wmemset(wide, L'?', length);
        converted = length;
    }
    auto const characters = static_cast<unsigned>(converted);
    if (heapBuffer && characters > capacity())
        adopt(std::move(heapBuffer), characters);
    else
        store(wide, characters);
}

string::operator char const*() const
{
    std::unique_ptr<char[]> text;
    if (ascii_text::isAscii(c_str(), length()) && ascii_text::localeExtendsAscii()) {
        text.reset(new char[size_t{length()} + 1]);
        ascii_text::narrow(c_str(), length(), text.get());
        text[length()] = '\0';
    } else {
        text = encoded(c_str(), length());
        if (!text)
            text = encodedWithSubstitutes(c_str(), length());
    }
    m_narrow.reset(text.release());
    return m_narrow.c_str();
}

string& string::operator+=(string const& other)
{
    append(other.c_str(), other.length());
    m_narrow.reset();
    return *this;
}

void string::swap(string& other) noexcept
{
    basic_string::swap(other);
    std::swap(m_narrow, other.m_narrow);
}

string operator+(string const& a, string const& b)
{
    string sum(a.c_str(), a.length());
    sum += b;
    return sum;
}

template <> std::wostream& operator<< <wchar_t>(std::wostream& out, string const& text)
{
    return out.write(text.c_str(), static_cast<std::streamsize>(text.length()));
}

template <> std::ostream& operator<< <char>(std::ostream& out, string const& text)
{
    char const* narrow = text;
    return out.write(narrow, static_cast<std::streamsize>(std::strlen(narrow)));
}

}
