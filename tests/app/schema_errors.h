#pragma once

#include <string>

namespace app_test {

/** @return the errors that the schema finds in JSON documents, which stand one behind the other;
 * empty for none. Keys that the schema does not have are errors too. */
std::string schemaErrors(std::string const& documents);

}
