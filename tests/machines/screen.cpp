#include "tests/machines/screen.h"

#include <cwchar>
#include <vector>

namespace machines {

namespace {

/** One column of a row; empty behind a character that takes two. */
using Row = std::vector<std::string>;

class Terminal {
public:
    explicit Terminal(size_t columns) : m_columns(columns) { }

    void put(std::string const& character, size_t width)
    {
        if (m_column + width > m_columns)
            breakRow();
        Row& row = m_rows.back();
        if (row.size() < m_column + width)
            row.resize(m_column + width, " ");
        row[m_column] = character;
        for (size_t i = 1; i < width; ++i)
            row[m_column + i].clear();
        m_column += width;
    }

    void returnCarriage() { m_column = 0; }

    /** As Linux's terminals send it: behind a carriage return. */
    void breakRow()
    {
        m_rows.emplace_back();
        m_column = 0;
    }

    std::string text() const
    {
        std::string text;
        for (Row const& row : m_rows) {
            std::string line;
            for (std::string const& cell : row)
                line += cell;
            line.erase(line.find_last_not_of(' ') + 1);
            text += line + "\n";
        }
        // The cursor stands in a row of its own after the last newline.
        if (m_rows.back().empty())
            text.pop_back();
        return text;
    }

private:
    size_t m_columns;
    size_t m_column = 0;
    std::vector<Row> m_rows = std::vector<Row>(1);
};

}

std::string screenAfter(std::string const& output, size_t columns)
{
    constexpr char LETTERS = '@'; // Of the control characters: ^@ is 0.
    Terminal terminal(columns);
    std::mbstate_t state{};
    for (size_t i = 0; i < output.size();) {
        wchar_t wide = 0;
        size_t length = std::mbrtowc(&wide, output.data() + i, output.size() - i, &state);
        if (length == 0 || length > output.size() - i) {
            length = 1;
            state = {};
        }
        std::string const character = output.substr(i, length);
        i += length;
        int const width = wcwidth(wide);
        if (character == "\r") {
            terminal.returnCarriage();
        } else if (character == "\n") {
            terminal.breakRow();
        } else if (width >= 0 && wide != 0) {
            terminal.put(character, static_cast<size_t>(width));
        } else {
            terminal.put("^", 1);
            terminal.put(std::string(1, static_cast<char>((character[0] ^ LETTERS) & 0x7F)), 1);
        }
    }
    return terminal.text();
}

}
