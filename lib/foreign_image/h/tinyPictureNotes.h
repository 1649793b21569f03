// SPDX-License-Identifier: MIT
// What the head of a PIC or TAG file says beside size and channels, and how to change it in a file
// that exists: the calls that write a picture give every file the same.
#pragma once

#include "tinyFile.h"

#include <cstdint>
#include <cstdio>

/// The comment is terminated here; in the file its 80 bytes need not be. Empty when the file has
/// none, or only the text that stands for none ("No comment...").
struct PictureNotes {
    float ratio;                        ///< pixel aspect ratio as the file has it
    std::int16_t fields;                ///< field code; 3 is a full frame
    char comment[kFileCommentSize + 1]; ///< bytes of no particular encoding
};

/// Reads the notes of the PIC or TAG file that `stream` is open on, wherever it stands. Returns 1;
/// or, with `notes` cleared, 0 when it is on a file of another kind or one that ends before, and -1
/// when the file cannot be read (errno says why).
int pictureNotesRead(std::FILE* stream, PictureNotes* notes);

/// Puts `notes` into the PIC or TAG file that `stream` is open on for reading and writing ("r+").
/// An empty comment leaves the file's own. Nothing else in the file changes. Returns 1, or 0 when
/// it is a file of another kind (nothing is written), or -1 when it cannot be read or written
/// (errno says why); a failed write can also show when the stream is closed.
int pictureNotesWrite(std::FILE* stream, const PictureNotes* notes);
