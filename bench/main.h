#pragma once

namespace bench {

/**
 * What a program needs before its first benchmark: its locale, its made-up machine. Each program
 * has one, which may be empty. @throws std::exception
 */
void prepare();

/**
 * Takes on C.UTF-8, which every installation has: as in most hosts, the library then converts an
 * encoding, and all sides convert the same one. @throws std::runtime_error
 */
void useUtf8();

}
