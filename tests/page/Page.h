#pragma once

#include "tests/support/Json.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace page {

/** An element of a page. */
struct Element {
    std::string tag;
    std::map<std::string, std::string> attributes;
    std::string text; ///< All characters in it, those of the elements below included.
    std::vector<std::unique_ptr<Element>> children;
    Element const* parent = nullptr;

    /** @return an attribute's value, "" where there is none. */
    std::string attribute(std::string const& name) const;
};

/** The elements of a page, read as strictly as an XML parser reads them. */
class Page {
public:
    /** @throws std::runtime_error with the place, where the markup is not well-formed. */
    explicit Page(std::string const& markup);

    Element const& root() const { return *m_root; }

    /** @return all elements of that tag, in their order; all elements for "". */
    std::vector<Element const*> all(std::string const& tag = "") const;

    /** @return the element of that id. @throws std::runtime_error where there is not one. */
    Element const& withId(std::string const& id) const;

private:
    std::unique_ptr<Element> m_root;
};

/** @return a line for each fact of the page that differs from the one in JSON, and one where there
 * are no facts. */
std::vector<std::string> differencesFromJson(Page const& page, testkit::Json const& document);

}
