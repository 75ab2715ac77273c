#include "sysinfo/parsers/proc_stat.h"

namespace sysinfo {

namespace {

/** Hands out a stream's bytes one by one, taken from it in large pieces. */
class Bytes {
public:
    static constexpr int END = -1;

    // cppcheck-suppress uninitMemberVar ; the piece is written before it is read
    explicit Bytes(std::istream& text) : m_text(text) { }

    int next()
    {
        if (m_at == m_end && !refill())
            return END;
        return static_cast<unsigned char>(*m_at++);
    }

private:
    bool refill()
    {
        m_text.read(m_piece, sizeof m_piece);
        m_at = m_piece;
        m_end = m_piece + m_text.gcount();
        return m_at != m_end;
    }

    std::istream& m_text;
    char m_piece[8192];
    char const* m_at = m_piece;
    char const* m_end = m_piece;
};

bool isBlank(int c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

bool isDigit(int c)
{
    return c >= '0' && c <= '9';
}

int skipWord(Bytes& bytes, int c)
{
    while (c != Bytes::END && !isBlank(c))
        c = bytes.next();
    return c;
}

int skipLine(Bytes& bytes, int c)
{
    while (c != Bytes::END && c != '\n')
        c = bytes.next();
    return c;
}

/** Matches the word that begins with @p c against a beginning. @return whether all of @p label was
 * there. */
bool beginsWith(Bytes& bytes, int& c, std::string_view label)
{
    for (char expected : label) {
        if (c != static_cast<unsigned char>(expected))
            return false;
        c = bytes.next();
    }
    return true;
}

/** Reads the next figure of the line, 0 where there is none; @p c is the byte before it and then
 * behind it. */
uint32_t readFigure(Bytes& bytes, int& c)
{
    while (c != '\n' && isBlank(c))
        c = bytes.next();
    uint32_t figure = 0;
    for (; isDigit(c); c = bytes.next())
        figure = figure * 10 + static_cast<uint32_t>(c - '0');
    return figure;
}

ProcessorCounters readFigures(Bytes& bytes, int c)
{
    enum Figure { USER, NICE, SYSTEM, IDLE, IOWAIT, IRQ, SOFTIRQ, FIGURES };
    uint32_t figures[FIGURES];
    for (uint32_t& figure : figures)
        figure = readFigure(bytes, c);
    // Kept: a processor that waits for a disk is reported as busy; time stolen by other guests is
    // left out.
    uint32_t const busy = figures[USER] + figures[NICE] + figures[SYSTEM] + figures[IOWAIT]
        + figures[IRQ] + figures[SOFTIRQ];
    return {figures[IDLE], busy};
}

}

uint32_t countProcessors(
    std::istream& text, std::function<void(std::string const& word)> const& found)
{
    Bytes bytes(text);
    std::string word;
    uint32_t count = 0;
    for (int c = bytes.next(); c != Bytes::END; c = bytes.next()) {
        if (isBlank(c))
            continue;
        if (!beginsWith(bytes, c, "cpu")) {
            if (skipWord(bytes, c) == Bytes::END)
                break;
            continue;
        }
        word = "cpu";
        for (; c != Bytes::END && !isBlank(c); c = bytes.next())
            word += static_cast<char>(c);
        if (isDigit(static_cast<unsigned char>(word.back()))) {
            ++count;
            found(word);
        }
        if (c == Bytes::END)
            break;
    }
    return count;
}

bool findProcessorCounters(std::istream& text, std::string_view label, ProcessorCounters& out)
{
    Bytes bytes(text);
    for (int c = bytes.next(); c != Bytes::END; c = bytes.next()) {
        if (isBlank(c))
            continue;
        if (beginsWith(bytes, c, label)) {
            out = readFigures(bytes, skipWord(bytes, c));
            return true;
        }
        if (skipLine(bytes, c) == Bytes::END)
            break;
    }
    return false;
}

}
