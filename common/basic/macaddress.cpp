#include "common/basic/macaddress.h"

#include "common/basic/mac_text.h"

#include <iomanip>
#include <ios>

namespace dovrel {

namespace {

/** Gives a stream its flags and width back on every way out. */
class FormatGuard {
public:
    explicit FormatGuard(std::wistream& stream)
        : m_stream(stream), m_flags(stream.flags()), m_width(stream.width())
    {
    }
    FormatGuard(FormatGuard const&) = delete;
    FormatGuard& operator=(FormatGuard const&) = delete;
    ~FormatGuard()
    {
        m_stream.flags(m_flags);
        m_stream.width(m_width);
    }

private:
    std::wistream& m_stream;
    std::ios_base::fmtflags m_flags;
    std::streamsize m_width;
};

/** @return false, with the stream failed, where the next character is not a separator. */
bool readSeparator(std::wistream& in)
{
    auto const separator = in.get();
    if (in && separator != L':' && separator != L'-')
        in.setstate(std::ios_base::failbit);
    return in.good();
}

}

void writeMacText(macaddress_cpp const& address, wchar_t* out) noexcept
{
    constexpr wchar_t const* DIGITS = L"0123456789abcdef";
    for (unsigned i = 0; i < macaddress_cpp::SIZE; ++i) {
        if (i > 0)
            *out++ = L':';
        *out++ = DIGITS[address[i] >> 4];
        *out++ = DIGITS[address[i] & 0x0F];
    }
}

template <> std::wostream& operator<< <wchar_t>(std::wostream& out, macaddress_cpp const& address)
{
    wchar_t text[MAC_TEXT_LENGTH];
    writeMacText(address, text);
    return out.write(text, MAC_TEXT_LENGTH);
}

template <> std::wistream& operator>><wchar_t>(std::wistream& in, macaddress_cpp& address)
{
    constexpr unsigned ETHERNET_SIZE = 6;
    FormatGuard const guard(in);
    for (unsigned i = 0; i < macaddress_cpp::SIZE; ++i) {
        unsigned number = 0;
        if (!(in >> std::hex >> std::setw(2) >> number))
            return in;
        address[i] = static_cast<uint8_t>(number);
        if (readSeparator(in))
            continue;
        if (i + 1 == macaddress_cpp::SIZE) {
            in.clear();
        } else if (i + 1 == ETHERNET_SIZE) {
            in.clear();
            address[6] = 0;
            address[7] = 0;
        }
        return in;
    }
    return in;
}

}
