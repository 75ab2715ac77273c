#pragma once

namespace bench {

/**
 * Prepares the locale and the fake machine; runs before the first benchmark. Each program defines
 * one. @throws std::exception
 */
void prepare();

/**
 * Sets the locale C.UTF-8, which every installation has, so that all sides convert the same
 * encoding. @throws std::runtime_error
 */
void useUtf8();

}
