#pragma once

#include "app/model/Library.h"
#include "app/model/Problem.h"

#include <optional>
#include <string>

namespace app {

/** A fact of which the library reports another value to its host. */
struct Difference {
    Subject subject = Subject::SYSTEM;
    std::string item; ///< The disk, mount point or adapter; empty for a fact of the whole subject.
    std::string fact; ///< The fact's key in JSON; empty where the library has no such item at all.
    std::optional<LibraryValue> library; ///< In the key's unit; nothing where it reports none.
    std::string reason; ///< A sentence without its full stop.
};

}
