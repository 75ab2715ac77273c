#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace machines {

/**
 * The variables of a machine file, and the braces that use them.
 *
 * `{name}` is the variable's text, `{@name}` the text of the variable that it names. A name may
 * have any characters but braces, blanks and colons. Anything else in braces is an expression of
 * whole numbers with `+ - * / %` and parentheses. A format may follow a colon: `letters` (0 is a,
 * 25 is z, 26 is aa), `upper`, `x` (hexadecimal), `0N` and `0Nx` (N digits), `address` (the digits
 * of /proc/net), `>N` and `<N` (padded with blanks to N columns). `${...}` stays as it is, `{{` is
 * one brace.
 */
class Variables {
public:
    /** Sets a variable of the whole file. */
    void set(std::string const& name, std::string const& value);

    /** Opens a scope; its variables hide those of the same names until `leave`. */
    void enter(std::map<std::string, std::string> scope);
    void leave();

    /** @return @p text with all braces replaced.
     * @throws std::runtime_error for an unknown variable, format or expression. */
    std::string substitute(std::string_view text) const;

    /** @return null where there is none. */
    std::string const* find(std::string const& name) const;

    /** @throws std::runtime_error where there is none. */
    std::string const& valueOf(std::string const& name) const;

private:
    std::map<std::string, std::string> m_globals;
    std::vector<std::map<std::string, std::string>> m_scopes;
};

}
