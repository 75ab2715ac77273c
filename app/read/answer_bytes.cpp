#include "app/read/answer_bytes.h"

#include <cstring>
#include <stdexcept>
#include <type_traits>

namespace app {

namespace {

/** Both ends are the same program, so numbers are written as they stand in memory. */
class Output {
public:
    template <class Number> std::enable_if_t<std::is_arithmetic_v<Number>> put(Number number)
    {
        bytes.append(reinterpret_cast<char const*>(&number), sizeof(number));
    }

    void put(std::string const& text)
    {
        put(text.size());
        bytes += text;
    }

    template <class Element> void put(std::vector<Element> const& list)
    {
        put(list.size());
        for (Element const& element : list)
            put(element);
    }

    void put(LibraryValue const& value)
    {
        put(value.index());
        std::visit([this](auto const& content) { put(content); }, value);
    }

    void put(LibraryField const& field)
    {
        put(field.getter);
        put(field.value);
    }

    void put(LibraryRecord const& record)
    {
        put(record.text);
        put(record.fields);
    }

    std::string bytes;
};

/** Reads what `Output` has put, in the same order. */
class Input {
public:
    explicit Input(std::string const& bytes) : m_bytes(bytes) { }

    template <class Number> std::enable_if_t<std::is_arithmetic_v<Number>> take(Number& number)
    {
        std::memcpy(&number, next(sizeof(number)), sizeof(number));
    }

    void take(std::string& text)
    {
        size_t size = 0;
        take(size);
        text.assign(next(size), size);
    }

    template <class Element> void take(std::vector<Element>& list)
    {
        size_t size = 0;
        for (take(size); size > 0; --size)
            take(list.emplace_back());
    }

    void take(LibraryValue& value)
    {
        size_t type = 0;
        take(type);
        takeAs<0>(value, type);
    }

    void take(LibraryField& field)
    {
        take(field.getter);
        take(field.value);
    }

    void take(LibraryRecord& record)
    {
        take(record.text);
        take(record.fields);
    }

private:
    template <size_t TYPE> void takeAs(LibraryValue& value, size_t type)
    {
        if constexpr (TYPE < std::variant_size_v<LibraryValue>) {
            if (type == TYPE)
                take(value.emplace<TYPE>());
            else
                takeAs<TYPE + 1>(value, type);
        }
    }

    char const* next(size_t count)
    {
        if (count > m_bytes.size() - m_position)
            throw std::runtime_error("the result of a query is cut short");
        m_position += count;
        return m_bytes.data() + m_position - count;
    }

    std::string const& m_bytes;
    size_t m_position = 0;
};

}

std::string bytesOf(LibraryAnswer const& answer)
{
    Output output;
    output.put(answer.query);
    output.put(int{answer.outcome});
    output.put(answer.reason);
    output.put(answer.seconds);
    output.put(answer.records);
    output.put(answer.source);
    output.put(answer.trace);
    return output.bytes;
}

LibraryAnswer answerOf(std::string const& bytes)
{
    Input input(bytes);
    LibraryAnswer answer;
    int outcome = 0;
    input.take(answer.query);
    input.take(outcome);
    answer.outcome = static_cast<LibraryAnswer::Outcome>(outcome);
    input.take(answer.reason);
    input.take(answer.seconds);
    input.take(answer.records);
    input.take(answer.source);
    input.take(answer.trace);
    return answer;
}

}
