#pragma once

#include <map>
#include <string>
#include <vector>

namespace app_test {

/** The output of one command on a screen. */
struct CommandText {
    using Lines = std::vector<std::string>;

    std::vector<Lines> blocks; ///< Tables and notes, which empty lines separate.
    Lines errors; ///< Of standard error.
    int status = 0;
};

/** @return the outputs on a recorded screen, by their commands: "mounts", "" for the summary. */
std::map<std::string, CommandText> commandsOn(std::string const& screen);

/** The cells of a row by their headings; with the blanks before a cell, which a tree has. */
using ScreenRow = std::map<std::string, std::string>;

/**
 * Reads a table of a pipe, where nothing is cut. At least two blank columns of the terminal divide
 * two columns, in each line at the same place.
 *
 * @pre the locale is UTF-8.
 * @throws std::runtime_error where lines and headings do not fit.
 */
std::vector<ScreenRow> rowsOf(CommandText::Lines const& lines);

/** @return the values of a list of labels and values by their labels, its heading included. */
ScreenRow labelsIn(CommandText::Lines const& lines);

}
