#include "app/sampling.h"

#include <algorithm>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <new>
#include <pthread.h>
#include <sys/resource.h>
#include <utility>

namespace app {

namespace {

using Clock = std::chrono::steady_clock;

// Thousands of the default size, 8 MiB, do not fit into a 32-bit process.
constexpr size_t STACK_SIZE = size_t{256} * 1024;

constexpr Clock::duration PROGRESS_INTERVAL = std::chrono::milliseconds(250);

/** What the asker and the threads share; freed by whoever lets go of it last. */
struct Board {
    std::mutex mutex;
    std::condition_variable changed;
    CpuRecords records; // Each is taken away by the thread that asks it.
    std::vector<std::optional<float>> percent;
    size_t next = 0;
    size_t done = 0;
    bool closed = false; // No further record is taken.
};

/** A figure outside of 0 to 100 (not-a-number among them) comes from counters that stood still or
 * ran backwards, as the kernel's do now and then. */
std::optional<float> askUsage(sysinfo::SystemInformation::CPUInfo const* record) noexcept
{
    if (!record)
        return std::nullopt;
    try {
        float const percent = record->getCurrentUsage();
        if (percent >= 0.0F && percent <= 100.0F)
            return percent;
    } catch (...) {
        // Unknown, as any other way of not answering; the trace has the cause.
    }
    return std::nullopt;
}

void work(Board& board)
{
    std::unique_lock lock(board.mutex);
    while (!board.closed && board.next < board.records.size()) {
        size_t const index = board.next++;
        auto record = std::move(board.records[index]);
        lock.unlock();
        std::optional<float> const percent = askUsage(record.get());
        record.reset();
        lock.lock();
        board.percent[index] = percent;
        ++board.done;
        board.changed.notify_one();
    }
}

extern "C" void* runSamplingThread(void* argument)
{
    std::unique_ptr<std::shared_ptr<Board>> const board(
        static_cast<std::shared_ptr<Board>*>(argument));
    work(**board);
    return nullptr;
}

/** Lets every thread have a file open at the same moment, as far as the system allows. */
void allowDescriptors(size_t threads)
{
    constexpr rlim_t OTHERS = 64;
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= threads + OTHERS)
        return;
    limit.rlim_cur = std::min<rlim_t>(threads + OTHERS, limit.rlim_max);
    setrlimit(RLIMIT_NOFILE, &limit); // Where it fails, the loads that cannot be read are unknown.
}

/** Started threads; those that are not joined are left to themselves. */
class Threads {
public:
    explicit Threads(size_t most)
    {
        m_threads.reserve(most);
        pthread_attr_init(&m_attributes);
        pthread_attr_setstacksize(&m_attributes, STACK_SIZE);
    }
    Threads(Threads const&) = delete;
    Threads& operator=(Threads const&) = delete;

    ~Threads()
    {
        for (pthread_t const thread : m_threads)
            pthread_detach(thread);
        pthread_attr_destroy(&m_attributes);
    }

    /** @return false where the system has no further thread to give. pthread_create(3). */
    bool start(std::shared_ptr<Board> const& board) noexcept
    {
        std::unique_ptr<std::shared_ptr<Board>> argument(
            new (std::nothrow) std::shared_ptr<Board>(board));
        pthread_t thread{};
        if (!argument
            || pthread_create(&thread, &m_attributes, runSamplingThread, argument.get()) != 0)
            return false;
        (void)argument.release();
        m_threads.push_back(thread);
        return true;
    }

    bool any() const { return !m_threads.empty(); }

    void join()
    {
        for (pthread_t const thread : m_threads)
            pthread_join(thread, nullptr);
        m_threads.clear();
    }

private:
    std::vector<pthread_t> m_threads;
    pthread_attr_t m_attributes{};
};

}

UsageSample sampleUsage(
    CpuRecords const& records, SamplingLimits const& limits, SamplingProgress const& progress)
{
    size_t const total = records.size();
    auto const board = std::make_shared<Board>();
    board->records = records;
    board->percent.resize(total);
    Threads threads(std::min(total, limits.maxThreads));
    allowDescriptors(std::min(total, limits.maxThreads));
    UsageSample sample;
    sample.percent.resize(total);

    // From the first thread on nothing may throw: the caller would not learn of the threads.
    Clock::time_point const start = Clock::now();
    Clock::time_point const deadline = start + limits.maxWait;
    size_t started = 0;
    while (started < std::min(total, limits.maxThreads) && threads.start(board))
        ++started;

    std::unique_lock lock(board->mutex);
    while (threads.any() && board->done < total && Clock::now() < deadline) {
        size_t const done = board->done;
        lock.unlock();
        progress(done, total, Clock::now() - start);
        lock.lock();
        board->changed.wait_until(lock, std::min(deadline, Clock::now() + PROGRESS_INTERVAL),
            [&] { return board->done == total; });
    }
    board->closed = true;
    std::copy(board->percent.begin(), board->percent.end(), sample.percent.begin());
    sample.threadsLeftBehind = threads.any() && board->done < total;
    lock.unlock();

    if (!sample.threadsLeftBehind)
        threads.join();
    return sample;
}

}
