#pragma once

#include "tests/app/LocaleFor.h"
#include "tests/app/ScreenCells.h"
#include "tests/app/recorded_machines.h"
#include "tests/support/Json.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

namespace app_test {

/**
 * The tables of the fake machines in a pipe, which are compared with their JSON.
 *
 * openmetrics_machines_test.cpp and `Pages` in tests/machines compare the metrics and the page with
 * the same documents. Not compared: the summary, whose words summary_test.cpp has, and `library`,
 * which shows the library's own records.
 */
class MachineTables : public testing::TestWithParam<char const*> {
protected:
    std::string const m_name = GetParam();
    LocaleFor const m_utf8{"C.UTF-8"};
    testkit::Json const m_document = recordedDocument(m_name);
    std::map<std::string, CommandText> const m_commands =
        commandsOn(recorded(m_name + ".pipe.txt"));

    CommandText const& command(std::string const& name) const { return m_commands.at(name); }

    /** The labels of the disks with these names. */
    testkit::Json labelsOf(testkit::Json const& names) const
    {
        testkit::Json labels = testkit::Json::array();
        for (testkit::Json const& name : names)
            for (testkit::Json const& disk : m_document.at("disks"))
                if (disk.at("name") == name)
                    labels.push_back(disk.at("label"));
        return labels;
    }

    /** The devices that a device lies on. */
    testkit::Json beneath(testkit::Json const& disk) const
    {
        testkit::Json names = disk.at("slaves");
        if (!disk.at("parent").is_null())
            names.push_back(disk.at("parent"));
        return labelsOf(names);
    }
};

}
