#pragma once

#include "common/basic/export.h"

#include <algorithm>
#if __cplusplus >= 202002L
#include <compare>
#endif
#include <cstddef>
#include <cwchar>
#include <memory>
#include <ostream>
#include <string>

namespace dovrel {

/**
 * Owned wide text with room for seven characters inside the object.
 *
 * A text of up to seven characters lives in the object and allocates nothing. A longer one lives in
 * a heap block that is kept when a shorter text follows and is used again by any later text that
 * fits it. Never holds a zero character: every text ends at its first one. Lengths are counted in
 * wide characters.
 *
 * Errors: only allocation fails, with `std::bad_alloc`, and then the text is what it was before the
 * call. Threads: one object belongs to one thread at a time.
 */
class DOVREL_EXPORT basic_string {
public:
    /** As a count: the whole text. */
    static constexpr unsigned WHOLE_TEXT = 0xFFFFFFFF;

    basic_string() noexcept : m_small{}, m_heap(nullptr), m_length(0), m_capacity(0) { }
    explicit basic_string(wchar_t const* text, unsigned count = WHOLE_TEXT);
    basic_string(basic_string const& other);
    basic_string(basic_string&& other) noexcept;
    ~basic_string()
    {
        if (m_heap) // Mostly not: spares the texts inside the object a call.
            delete[] m_heap;
    }

    basic_string& operator=(basic_string const& other);
    basic_string& operator=(basic_string&& other) noexcept;
    basic_string& operator=(wchar_t const* text);

    /**
     * Stores the first @p count characters of @p text, all of it where count is `WHOLE_TEXT`; null
     * is the empty text. The source may lie within this object's own text.
     */
    void Allocate_Memory_Or_Use_Small_Buffer(wchar_t const* text, unsigned count = WHOLE_TEXT);

    /** @return the number of characters, without the terminator. */
    unsigned length() const noexcept { return m_length; }

    /** @return the length of the longest text stored so far that needed more room than all before
     * it. */
    unsigned capacity() const noexcept { return m_capacity; }

    bool empty() const noexcept { return m_length == 0; }

    /** @return the terminated wide text, valid until the object changes; never null. */
    wchar_t const* c_str() const noexcept { return usesHeap() ? m_heap : m_small; }

    basic_string& operator+=(basic_string const& other);

    void swap(basic_string& other) noexcept;

    /** Order by wide character code, first difference decides; a text sorts behind its own
     * beginning. */
    int compare(basic_string const& other) const noexcept;

    friend bool operator==(basic_string const& a, basic_string const& b) noexcept
    {
        return a.m_length == b.m_length && a.compare(b) == 0;
    }
    friend bool operator!=(basic_string const& a, basic_string const& b) noexcept
    {
        return !(a == b);
    }
    friend bool operator<(basic_string const& a, basic_string const& b) noexcept
    {
        return a.compare(b) < 0;
    }
    friend bool operator>(basic_string const& a, basic_string const& b) noexcept { return b < a; }
    friend bool operator<=(basic_string const& a, basic_string const& b) noexcept
    {
        return !(b < a);
    }
    friend bool operator>=(basic_string const& a, basic_string const& b) noexcept
    {
        return !(a < b);
    }
#if __cplusplus >= 202002L
    friend std::strong_ordering operator<=>(basic_string const& a, basic_string const& b) noexcept
    {
        return a.compare(b) <=> 0;
    }
#endif
    friend void swap(basic_string& a, basic_string& b) noexcept
    {
        a.swap(b);
    }

protected:
    /** Appends @p count characters, which may lie within this object's own text. */
    void append(wchar_t const* text, unsigned count);

    /** Stores @p length characters, none of them zero. */
    void store(wchar_t const* text, unsigned length);

    /** The same where they stand in a heap block, with room for a terminator. */
    void adopt(std::unique_ptr<wchar_t[]> block, unsigned length);

    /** @return where a text of @p length is to be put; the heap block is made or grown as it needs.
     */
    wchar_t* makeRoom(unsigned length);

    /** Terminates the text that was put there and makes it the active one. */
    void finish(unsigned length) noexcept;

private:
    static constexpr unsigned SMALL_BUFFER_SIZE = 8;

    // A kept heap block holds the text only while the small buffer is empty.
    bool usesHeap() const noexcept
    {
        return m_heap && m_small[0] == L'\0';
    }

    /** Takes over what @p other holds and leaves it empty; frees nothing of this object's own. */
    void take(basic_string& other) noexcept;

    wchar_t m_small[SMALL_BUFFER_SIZE];
    wchar_t* m_heap;
    unsigned m_length;
    unsigned m_capacity;
};

/**
 * The text type of the whole system: wide text that can hand out a narrow copy of itself.
 *
 * Conversions use the C library's current locale (`LC_CTYPE`, setlocale(3)) and substitute '?'
 * rather than fail, see the constructors and `operator char const*`. This class never sets the
 * locale.
 */
class DOVREL_EXPORT string : public basic_string {
public:
    /** The narrow copy: owns one terminated array, or none. */
    class DOVREL_EXPORT basic_char_string {
    public:
        basic_char_string() noexcept = default;
        basic_char_string(basic_char_string const& other);
        basic_char_string(basic_char_string&& other) noexcept;
        ~basic_char_string()
        {
            if (m_text) // As above.
                delete[] m_text;
        }
        basic_char_string& operator=(basic_char_string&& other) noexcept;

        /** @return the array, or an empty text where there is none; never null. */
        char const* c_str() const noexcept;

        /** Takes over @p text, made with array-new, in place of the present array. */
        void reset(char* text = nullptr) noexcept;

    private:
        char* m_text = nullptr;
    };

    string() noexcept = default;

    /** @param count the largest number of characters to take; a null text is empty. */
    string(wchar_t const* text, unsigned count = WHOLE_TEXT);

    /**
     * From narrow, locale-encoded text.
     *
     * An invalid sequence turns the whole text to question marks, one for each byte of it.
     * mbstowcs(3).
     *
     * @param count the largest number of wide characters to take; null or empty text is empty.
     */
    string(char const* text, unsigned count = WHOLE_TEXT);

    /** The same from a standard string, up to its first zero byte. */
    string(std::string const& text);

    /** Copies the narrow copy's bytes too, rather than converting again. */
    string(string const& other);
    string(string&& other) noexcept = default;
    ~string() = default;

    string& operator=(string const& other);
    string& operator=(string&& other) noexcept = default;
    string& operator=(wchar_t const* text);
    string& operator=(char const* text);
    string& operator=(std::string const& text);

    /**
     * The text in the locale's encoding; a character that it cannot encode becomes one '?'.
     *
     * Converts afresh into a new array of the narrow text's size on every call. The pointer is
     * valid until the next call of this operator on the same object, a change of the object, or its
     * end; it is never null. Not for two threads at once on one object, although it is `const`.
     * wcsnrtombs(3).
     */
    operator char const*() const;

    string& operator+=(string const& other);

    void swap(string& other) noexcept;

private:
    /** Stores the text's characters, @p count of them at most; null is empty. */
    void storeNarrow(char const* text, unsigned count);

    mutable basic_char_string m_narrow;
};

inline void swap(string& a, string& b) noexcept
{
    a.swap(b);
}

namespace text_order {

/** As `basic_string::compare`; null is the empty text. */
inline int compare(basic_string const& a, wchar_t const* b) noexcept
{
    size_t const length = b ? std::wcslen(b) : 0;
    size_t const common = std::min<size_t>(a.length(), length);
    int const difference = common == 0 ? 0 : std::wmemcmp(a.c_str(), b, common);
    if (difference != 0 || a.length() == length)
        return difference;
    return a.length() < length ? -1 : 1;
}

/** The same with the text that a `string` constructed from @p b has. @throws std::bad_alloc */
inline int compare(basic_string const& a, char const* b)
{
    return a.compare(string(b));
}

inline int compare(basic_string const& a, std::string const& b)
{
    return a.compare(string(b));
}

}

// Comparisons with every kind of text that a string is constructed from, in both orders. Without
// them the compiler would take the string's narrow copy and compare two pointers.
#define DOVREL_COMPARISON(SIGN, TEXT)                                                              \
    inline bool operator SIGN(basic_string const& a, TEXT b)                                       \
    {                                                                                              \
        return text_order::compare(a, b) SIGN 0;                                                   \
    }                                                                                              \
    inline bool operator SIGN(TEXT a, basic_string const& b)                                       \
    {                                                                                              \
        return 0 SIGN text_order::compare(b, a);                                                   \
    }
#if __cplusplus >= 202002L
#define DOVREL_ORDERING(TEXT)                                                                      \
    inline std::strong_ordering operator<=>(basic_string const& a, TEXT b)                         \
    {                                                                                              \
        return text_order::compare(a, b) <=> 0;                                                    \
    }
#else
#define DOVREL_ORDERING(TEXT)
#endif
#define DOVREL_COMPARISONS(TEXT)                                                                   \
    DOVREL_COMPARISON(==, TEXT)                                                                    \
    DOVREL_COMPARISON(!=, TEXT)                                                                    \
    DOVREL_COMPARISON(<, TEXT)                                                                     \
    DOVREL_COMPARISON(>, TEXT)                                                                     \
    DOVREL_COMPARISON(<=, TEXT)                                                                    \
    DOVREL_COMPARISON(>=, TEXT)                                                                    \
    DOVREL_ORDERING(TEXT)

DOVREL_COMPARISONS(wchar_t const*)
DOVREL_COMPARISONS(char const*)
DOVREL_COMPARISONS(std::string const&)

#undef DOVREL_COMPARISONS
#undef DOVREL_ORDERING
#undef DOVREL_COMPARISON

/** @return the text of @p a followed by that of @p b. */
DOVREL_EXPORT string operator+(string const& a, string const& b);

/**
 * Writes the text without padding: exactly `length()` wide characters to a wide stream, the narrow
 * form's bytes to a narrow one.
 */
template <class Char>
std::basic_ostream<Char>& operator<<(std::basic_ostream<Char>& out, string const& text);
template <>
DOVREL_EXPORT std::wostream& operator<< <wchar_t>(std::wostream& out, string const& text);
template <> DOVREL_EXPORT std::ostream& operator<< <char>(std::ostream& out, string const& text);

/**
 * Wide text to narrow text in the locale's encoding, with one '?' for every character that it
 * cannot encode.
 *
 * Never fails as a whole. Where @p count stops the conversion before the terminating zero of @p
 * src, no terminator is written. wcsnrtombs(3).
 *
 * Kept: a character that a stateful encoding holds back until the next one (BIG5-HKSCS) is left
 * out where @p count, or the conversion up to a character that cannot be encoded, ends behind it.
 *
 * Kept: with @p count `0xFFFFFFFF` and less than four bytes of room (a null @p dest with size 0
 * among them), a text that holds a character that cannot be encoded has every character up to the
 * last such one counted as one
 * '?'. Give the count where the size must be exact.
 *
 * @param result must not be null; receives the bytes needed or written, terminating zero included.
 * @param dest may be null, to ask only for the size.
 * @param destSize bytes of room at @p dest.
 * @param count wide characters to convert at most, `0xFFFFFFFF` for all up to the terminating zero.
 * @return 0.
 */
DOVREL_EXPORT int safe_wcstombs_s(
    unsigned* result, char* dest, unsigned destSize, wchar_t const* src, unsigned count);

}
