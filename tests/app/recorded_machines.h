#pragma once

#include "tests/support/Json.h"
#include "tests/support/text.h"

#include <string>

/** The recorded outputs of the fake machines in tests/machines. */
namespace app_test {

inline constexpr char const* RECORDED_MACHINES[] = {
    "laptop", "server", "router", "guest", "old24", "old26", "broken"};

/** @return a recorded output, of "laptop.prom". */
inline std::string recorded(std::string const& name)
{
    return testkit::contentsOf(DOVREL_SOURCE_FOLDER "/tests/machines/" + name);
}

/** @return the JSON document of the whole machine. */
inline testkit::Json recordedDocument(std::string const& machine)
{
    return testkit::Json::parse(recorded(machine + ".json")).at("dovrel-sysinfo").at("document");
}

}
