// SPDX-License-Identifier: MIT
// The metadata in the header of a PIC or TAG file besides size and channels, and how to change it
// in an existing file. The calls that write a picture give every file the same metadata.
#pragma once

#include "tinyFile.h"

#include <cstdint>
#include <cstdio>

/// The comment is terminated here; its 80 bytes in the file need not be. Empty when the file has no
/// comment or only the default text ("No comment...").
struct PictureNotes {
    float ratio;                        ///< pixel aspect ratio as the file has it
    std::int16_t fields;                ///< field code; 3 is a full frame
    char comment[kFileCommentSize + 1]; ///< bytes of no particular encoding
    float version;                      ///< of the writer; not changed in a file
};

/// Reads the notes of the PIC or TAG file that `stream` is open on, from any position. Returns 1;
/// or, with `notes` cleared, 0 when the file is of another kind or ends too early, and -1 when it
/// cannot be read (errno says why).
int pictureNotesRead(std::FILE* stream, PictureNotes* notes);

/// Writes `notes` into the PIC or TAG file that `stream` is open on for reading and writing ("r+").
/// An empty comment keeps the file's comment. Nothing else in the file changes. Returns 1, or 0
/// when it is a file of another kind (nothing is written), or -1 when it cannot be read or written
/// (errno says why); a failed write can also show when the stream is closed.
int pictureNotesWrite(std::FILE* stream, const PictureNotes* notes);
