// The failure that a child sends is read as three numbers, and is the same after it was sent again.

#include "common/basic/processstream/src/process_exception.h"
#include "fuzz/expect.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <limits>
#include <string>

using dovrel::ProcessException;
using fuzz::expect;

namespace {

/** Three numbers as a stream of the classic locale reads them. After a failure all are 0. */
std::array<uint32_t, 3> readNumbers(std::string const& text)
{
    std::array<uint32_t, 3> numbers{};
    size_t at = 0;
    for (uint32_t& number : numbers) {
        at = std::min(text.find_first_not_of(" \t\n\v\f\r", at), text.size());
        bool const isNegative = at < text.size() && text[at] == '-';
        if (at < text.size() && (text[at] == '-' || text[at] == '+'))
            ++at;
        size_t const end = std::min(text.find_first_not_of("0123456789", at), text.size());
        if (end == at)
            break;
        constexpr uint64_t LARGEST = std::numeric_limits<uint32_t>::max();
        uint64_t value = 0;
        for (; at < end; ++at)
            value = std::min(value * 10 + static_cast<uint64_t>(text[at] - '0'), LARGEST + 1);
        if (value > LARGEST) {
            number = static_cast<uint32_t>(LARGEST);
            break;
        }
        number = static_cast<uint32_t>(isNegative ? -value : value);
    }
    return numbers;
}

}

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    std::string const text(reinterpret_cast<char const*>(data), size);
    auto const [reason, line, code] = readNumbers(text);
    errno = ENOMEM; // Not the child's.
    ProcessException const failure = ProcessException::deserialize(text);
    expect(failure.reason() == reason && failure.line() == line);
    expect(failure.code() == static_cast<int>(code));

    std::string expected = reason < dovrel::REASONS ? dovrel::ERRORS[reason] : "";
    expected += std::to_string(failure.code());
    if (line != 0)
        expected += " at line " + std::to_string(line);
    expect(failure.what() == expected);

    std::string const sent = failure.serialize();
    expect(sent.size() < ProcessException::SERIALIZED_SIZE);
    expect(ProcessException::deserialize(sent).what() == expected);
    return 0;
}
