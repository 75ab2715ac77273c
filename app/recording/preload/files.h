#pragma once

#include "app/recording/preload/answers.h"

#include <string>

namespace preload {

/** Notes the path of a file or folder that was opened. */
void noteOpened(int file, std::string const& path);

/** @return the path by which a file was opened for reading while a machine is recorded; empty where
 * that is not known. */
std::string pathOf(int file);

/** @return whether the path is none of the machine's facts: a recording itself, the descriptors of
 * this process, terminals. */
bool isOwn(std::string const& path);

/** @return the recorded errors of a path; null where there is none. */
Answers::Refusal const* refusalOf(std::string const& path);

}
