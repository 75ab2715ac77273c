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
 * A wide string with a small buffer.
 *
 * A text of up to seven characters is stored in the object, without allocation. A longer text is
 * stored in a heap block. The object keeps the block when a shorter text follows, and reuses it for
 * every later text that fits. A text ends at its first zero character. Lengths are numbers of wide
 * characters.
 *
 * Errors: `std::bad_alloc` if an allocation fails; the text is unchanged then. Threads: one object
 * belongs to one thread at a time.
 */
class DOVREL_EXPORT basic_string {
public:
    /** The value of a count that means the whole text. */
    static constexpr unsigned WHOLE_TEXT = 0xFFFFFFFF;

    basic_string() noexcept : m_small{}, m_heap(nullptr), m_length(0), m_capacity(0) { }

    /** Stores @p text, see `Allocate_Memory_Or_Use_Small_Buffer`. */
    explicit basic_string(wchar_t const* text, unsigned count = WHOLE_TEXT);
    basic_string(basic_string const& other);
    basic_string(basic_string&& other) noexcept;
    ~basic_string()
    {
        if (m_heap) // Usually null; skips the call.
            delete[] m_heap;
    }

    basic_string& operator=(basic_string const& other);
    basic_string& operator=(basic_string&& other) noexcept;

    /** Stores the whole @p text; null is empty. */
    basic_string& operator=(wchar_t const* text);

    /**
     * Stores the first @p count characters of @p text, or all if @p count is `WHOLE_TEXT`. A null
     * @p text is empty. @p text may point into this object's own text.
     */
    void Allocate_Memory_Or_Use_Small_Buffer(wchar_t const* text, unsigned count = WHOLE_TEXT);

    /** @return the number of characters without the terminator. */
    unsigned length() const noexcept { return m_length; }

    /** @return the number of characters that the buffer was last enlarged for. A text of that
     * length, or of seven characters, needs no allocation. */
    unsigned capacity() const noexcept { return m_capacity; }

    /** @return whether the text has no characters. */
    bool empty() const noexcept { return m_length == 0; }

    /** @return the terminated wide text, valid until the object changes; never null. */
    wchar_t const* c_str() const noexcept { return usesHeap() ? m_heap : m_small; }

    /** Appends the text of @p other. */
    basic_string& operator+=(basic_string const& other);

    void swap(basic_string& other) noexcept;

    /** Compares by wide character code, lexicographically. @return below 0, 0 or above 0. */
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
    /** Appends @p count characters. @p text may point into this object's own text. */
    void append(wchar_t const* text, unsigned count);

    /** Stores @p length characters, none of which is zero. */
    void store(wchar_t const* text, unsigned length);

    /** Does the same for characters in a heap block that has room for a terminator. */
    void adopt(std::unique_ptr<wchar_t[]> block, unsigned length);

    /** @return the buffer for a text of @p length characters. Allocates a larger heap block if
     * necessary. */
    wchar_t* makeRoom(unsigned length);

    /** Terminates the text in the buffer of `makeRoom` and makes it the active one. */
    void finish(unsigned length) noexcept;

private:
    static constexpr unsigned SMALL_BUFFER_SIZE = 8;

    // A heap block contains the text only while the small buffer is empty.
    bool usesHeap() const noexcept
    {
        return m_heap && m_small[0] == L'\0';
    }

    /** Takes the contents of @p other and leaves it empty. Does not free this object's block. */
    void take(basic_string& other) noexcept;

    wchar_t m_small[SMALL_BUFFER_SIZE];
    wchar_t* m_heap;
    unsigned m_length;
    unsigned m_capacity;
};

/**
 * The string type of the library: a wide string that converts from and to narrow strings.
 *
 * Conversions use the C library's current locale (`LC_CTYPE`, setlocale(3)). They never fail, but
 * substitute '?'; see the constructors and `operator char const*`. This class never sets the
 * locale.
 */
class DOVREL_EXPORT string : public basic_string {
public:
    /** The narrow copy: owns one terminated array or null. */
    class DOVREL_EXPORT basic_char_string {
    public:
        basic_char_string() noexcept = default;
        basic_char_string(basic_char_string const& other);
        basic_char_string(basic_char_string&& other) noexcept;
        ~basic_char_string()
        {
            if (m_text) // Usually null; skips the call.
                delete[] m_text;
        }
        basic_char_string& operator=(basic_char_string&& other) noexcept;

        /** @return the array, or an empty string if it is null; never null. */
        char const* c_str() const noexcept;

        /** Frees the array and takes ownership of @p text, which array-new allocated. */
        void reset(char* text = nullptr) noexcept;

    private:
        char* m_text = nullptr;
    };

    string() noexcept = default;

    /** @param text may be null, which is empty. @param count the maximum number of characters. */
    string(wchar_t const* text, unsigned count = WHOLE_TEXT);

    /**
     * Converts a narrow string in the locale's encoding; mbstowcs(3). An invalid sequence replaces
     * the whole text by question marks, one for each byte.
     *
     * @param text may be null, which is empty.
     * @param count the maximum number of wide characters.
     */
    string(char const* text, unsigned count = WHOLE_TEXT);

    /** Converts @p text up to its first zero byte in the same way. */
    string(std::string const& text);

    /** Copies the narrow copy too, without converting again. */
    string(string const& other);
    string(string&& other) noexcept = default;
    ~string() = default;

    string& operator=(string const& other);
    string& operator=(string&& other) noexcept = default;

    /** Stores the whole @p text; null is empty. */
    string& operator=(wchar_t const* text);

    /** Converts like the constructor. */
    string& operator=(char const* text);

    /** Converts like the constructor. */
    string& operator=(std::string const& text);

    /**
     * @return the text in the locale's encoding, wcsnrtombs(3); never null. Each character that
     * cannot be encoded becomes one '?'.
     *
     * Every call converts the text again, into a new array. The pointer is valid until the next
     * call of this operator on the same object or until the object changes. Although the operator
     * is `const`, two threads must not call it on one object at once.
     */
    operator char const*() const;

    /** Appends the text of @p other. */
    string& operator+=(string const& other);

    void swap(string& other) noexcept;

private:
    /** Converts and stores at most @p count characters; a null @p text is empty. */
    void storeNarrow(char const* text, unsigned count);

    mutable basic_char_string m_narrow;
};

inline void swap(string& a, string& b) noexcept
{
    a.swap(b);
}

namespace text_order {

/** Compares like `basic_string::compare`; a null @p b is empty. */
inline int compare(basic_string const& a, wchar_t const* b) noexcept
{
    size_t const length = b ? std::wcslen(b) : 0;
    size_t const common = std::min<size_t>(a.length(), length);
    int const difference = common == 0 ? 0 : std::wmemcmp(a.c_str(), b, common);
    if (difference != 0 || a.length() == length)
        return difference;
    return a.length() < length ? -1 : 1;
}

/** Converts @p b to a `string` and compares with it. @throws std::bad_alloc */
inline int compare(basic_string const& a, char const* b)
{
    return a.compare(string(b));
}

inline int compare(basic_string const& a, std::string const& b)
{
    return a.compare(string(b));
}

}

// Comparisons with every type that a string can be constructed from, in both orders. Without them
// the compiler would convert the string to a narrow one and compare two pointers.
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

/** @return the concatenation of @p a and @p b. */
DOVREL_EXPORT string operator+(string const& a, string const& b);

/**
 * Writes the text without padding: `length()` wide characters to a wide stream, the result of
 * `operator char const*` to a narrow stream.
 */
template <class Char>
std::basic_ostream<Char>& operator<<(std::basic_ostream<Char>& out, string const& text);
template <>
DOVREL_EXPORT std::wostream& operator<< <wchar_t>(std::wostream& out, string const& text);
template <> DOVREL_EXPORT std::ostream& operator<< <char>(std::ostream& out, string const& text);

/**
 * Converts a wide string to the locale's encoding, wcsnrtombs(3). Each character that cannot be
 * encoded becomes one '?'; the conversion never fails.
 *
 * If @p count ends the conversion before the terminating zero of @p src, no terminator is written.
 *
 * Kept: in a stateful encoding (BIG5-HKSCS), the output of a character may depend on the next one.
 * Such a character is lost if it is the last one of @p count, or the last one before a character
 * that cannot be encoded.
 *
 * Kept: with @p count `0xFFFFFFFF` and a @p destSize below 4 (also for a null @p dest), every
 * character up to the last one that cannot be encoded counts as one '?'. Pass the exact count if
 * the size must be exact.
 *
 * @param result receives the number of bytes needed or written, including the terminating zero;
 * must not be null.
 * @param dest may be null, to query only the size.
 * @param destSize size of @p dest in bytes.
 * @param count the maximum number of wide characters; `0xFFFFFFFF` for all up to the terminating
 * zero.
 * @return 0.
 */
DOVREL_EXPORT int safe_wcstombs_s(
    unsigned* result, char* dest, unsigned destSize, wchar_t const* src, unsigned count);

}
