#pragma once

#include "app/model/Library.h"

#include <string>

/** The library's answer on its way from a child process to the program. */
namespace app {

std::string bytesOf(LibraryAnswer const& answer);

/** @param bytes a result of `bytesOf`. @throws std::runtime_error where it is cut short */
LibraryAnswer answerOf(std::string const& bytes);

}
