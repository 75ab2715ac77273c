#pragma once

#include "app/model/Machine.h"

#include <optional>
#include <string>
#include <vector>

namespace app {

/**
 * Collects the differences between one subject and the library's answer.
 *
 * A reason is given where the facts at hand prove it, and is empty elsewhere.
 */
class DifferenceList {
public:
    /**
     * @param answer and @param differences must outlive the object.
     * @param hasAllItems whether the machine's own list of items could be read as a whole.
     */
    DifferenceList(Subject subject, LibraryAnswer const& answer, bool hasAllItems,
        std::vector<Difference>& differences)
        : m_subject(subject), m_answer(answer), m_hasAllItems(hasAllItems),
          m_differences(differences)
    {
    }

    LibraryAnswer const& answer() const { return m_answer; }
    std::vector<LibraryRecord> const& records() const { return m_answer.records; }

    /** @return whether the query returned true. */
    bool isComplete() const { return m_answer.outcome == LibraryAnswer::RETURNED_TRUE; }

    void add(std::string const& item, std::string const& fact,
        std::optional<LibraryValue> const& library, std::string const& reason = "")
    {
        m_differences.push_back({m_subject, item, fact, library, reason});
    }

    /** Adds an item that the library does not list. Where its query failed and @p reason is empty,
     * the failure is the reason. */
    void addMissing(std::string const& item, std::string const& reason)
    {
        add(item, "", std::nullopt, reason.empty() ? m_answer.reason : reason);
    }

    /** Adds an item that the library has and the machine's own list has not. Where items were left
     * out of that list, @p reason is not proven. */
    void addExtra(std::string const& item, std::string const& reason)
    {
        add(item, "records", uint64_t{1}, m_hasAllItems ? reason : "");
    }

    /** Adds a number of the library that is not the machine's. A number that is unknown is one,
     * where the library reports 0. */
    void compareNumber(std::string const& item, std::string const& fact,
        std::optional<uint64_t> known, uint64_t library, std::string const& reason = "")
    {
        if (known ? *known != library : library == 0)
            add(item, fact, library, reason);
    }

    /** Adds a figure that moves while the two are read, where the library's is far away: by more
     * than an eighth of @p whole. */
    void compareMoving(std::string const& item, std::string const& fact,
        std::optional<uint64_t> known, uint64_t library, uint64_t whole)
    {
        constexpr uint64_t PARTS = 8;
        if (!known || (*known > library ? *known - library : library - *known) > whole / PARTS)
            compareNumber(item, fact, known, library);
    }

private:
    Subject const m_subject;
    LibraryAnswer const& m_answer;
    bool const m_hasAllItems;
    std::vector<Difference>& m_differences;
};

/** The comparisons of the subjects with several records. */
void compareDisks(std::vector<Disk> const& disks, DifferenceList& list);
void compareMounts(std::vector<Mount> const& mounts, DifferenceList& list);
void compareNetworks(Networks const& networks, DifferenceList& list);
void compareRecovery(Recovery const& recovery, DifferenceList& list);

}
