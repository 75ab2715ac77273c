#include "common/platform/trace.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <limits>
#include <locale>
#include <mutex>
#include <new>
#include <sstream>

/** Exists until the library is unloaded. The records form a list, which is freed then. */
class hashedfunction {
public:
    explicit hashedfunction(char const* name) : signature(name) { }

    char const* const signature;
    hashedfunction* next = nullptr;
};

namespace {

std::atomic<unsigned> detailLevel{0};

struct Destination {
    dovrel::trace::Sink sink = nullptr;
    void* context = nullptr;
};

constinit std::mutex destinationMutex;
constinit Destination destination;

Destination currentDestination()
{
    std::lock_guard const lock(destinationMutex);
    return destination;
}

/** The list of all records, newest first. */
class Records {
public:
    ~Records()
    {
        for (hashedfunction* record = m_newest.load(); record;) {
            hashedfunction* const next = record->next;
            delete record;
            record = next;
        }
    }

    void add(hashedfunction* record)
    {
        record->next = m_newest.load();
        while (!m_newest.compare_exchange_weak(record->next, record)) { }
    }

private:
    std::atomic<hashedfunction*> m_newest{nullptr};
};

Records records;

/** @return the record that @p function points to; the first call creates it. Null if there is no
 * memory. */
hashedfunction const* recordOf(hashedfunction const*& function, char const* signature)
{
    std::atomic_ref<hashedfunction const*> shared(function);
    hashedfunction const* existing = shared.load();
    if (existing)
        return existing;
    auto* const created = new (std::nothrow) hashedfunction(signature);
    if (!created)
        return nullptr;
    if (!shared.compare_exchange_strong(existing, created)) {
        delete created;
        return existing;
    }
    records.add(created);
    return created;
}

}

namespace dovrel::trace {

void setDetailLevel(unsigned level)
{
    detailLevel = std::min(level, std::numeric_limits<unsigned>::max() - 1);
}

void setSink(Sink sink, void* context)
{
    std::lock_guard const lock(destinationMutex);
    destination = {sink, context};
}

}

traceobject::traceobject(hashedfunction const*& function, char const* signature)
    : m_detail(detailLevel.load(std::memory_order_relaxed) + 1)
{
    if (m_detail > 1)
        m_function = recordOf(function, signature);
}

traceobject::~traceobject() = default;

void traceobject::logtosplit(dovrel::string& line)
{
    Destination const target = currentDestination();
    if (!target.sink || !m_function)
        return;
    try {
        if (line.empty() || line.c_str()[line.length() - 1] != L'\n')
            line += L"\n";
        target.sink(target.context, m_level, m_function->signature, line);
    } catch (...) {
        // Drops the line: tracing must not make a query fail.
    }
}

void traceobject::compose(
    tracelevel_t level, char const* format, dovrel::trace::Argument const* arguments, size_t count)
{
    setLevel(level);
    try {
        std::wostringstream text;
        text.imbue(std::locale::classic());
        for (; *format; ++format) {
            bool const isPlaceholder =
                format[0] == '%' && std::isalpha(static_cast<unsigned char>(format[1]));
            if (isPlaceholder && count > 0) {
                arguments->insertInto(text);
                ++arguments;
                --count;
                ++format;
            } else {
                text << *format;
                if (format[0] == '%' && format[1] == '%')
                    ++format;
            }
        }
        dovrel::string line(text.str().c_str());
        logtosplit(line);
    } catch (...) {
        // Drops the line, as above.
    }
}
