#include "common/basic/macaddress.h"

#include <iomanip>
#include <ios>

namespace dovrel {

namespace {

/** Restores a stream's flags and width. */
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

/** @return false, with the stream failed, if the next character is not a separator. */
bool readSeparator(std::wistream& in)
{
    auto const separator = in.get();
    if (in && separator != L':' && separator != L'-')
        in.setstate(std::ios_base::failbit);
    return in.good();
}

}

template <> std::wostream& operator<< <wchar_t>(std::wostream& out, macaddress_cpp const& address)
{
    wchar_t text[macaddress_cpp::TEXT_LENGTH];
    address.writeText(text);
    return out.write(text, macaddress_cpp::TEXT_LENGTH);
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
