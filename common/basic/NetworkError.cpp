#include "common/basic/NetworkError.h"

#include "common/basic/text_cast.h"

namespace dovrel {

NetworkError::NetworkError() noexcept : m_code(0)
{
}

NetworkError::NetworkError(int code) : m_code(code)
{
    NetworkError::makeString();
}

NetworkError::~NetworkError() = default;

NetworkError& NetworkError::operator=(int code)
{
    m_code = code;
    makeString();
    return *this;
}

char const* NetworkError::what() const noexcept
{
    return m_text.c_str();
}

void NetworkError::makeString()
{
    m_text = static_cast<char const*>(str_cast(m_code, string(L"Network Error: code = ")));
}

std::string const& NetworkError::toString() const
{
    return m_text;
}

}
