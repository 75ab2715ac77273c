#pragma once

/**
 * Begins a piece of code of a document.
 *
 * Makes the fake machine that it runs on, and writes the line "piece PLACE" before the piece's own
 * output.
 */
void beginPiece(char const* place);
