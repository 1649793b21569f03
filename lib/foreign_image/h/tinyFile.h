// SPDX-License-Identifier: MIT
// The header of every file of the toolkit, the two string encodings, user-data blocks, and the
// prototypes of binary scene files.
//
// All functions take the stream first. A function that reads never loops on end of file and never
// takes more memory than the bytes it was given can fill.
#pragma once

#include "tinySoftType.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>

/// Frees malloc'ed memory from the toolkit, for example a string.
struct MallocDisposer {
    void operator()(void* memory) const noexcept { std::free(memory); }
};

/// A malloc'ed zero-terminated string.
using MallocString = std::unique_ptr<char, MallocDisposer>;

// --- File header ---------------------------------------------------------------------------------

/// The magic number of every binary file, and the sizes of the parts of its header.
inline constexpr std::uint32_t kFileMagic = 0x5380F634;
inline constexpr std::size_t kFileCommentSize = 80;
inline constexpr std::size_t kFileHeaderSize = 88;

/// Writes the 88-byte binary header: magic, version 2.6, `comment` cut to 80 bytes and padded with
/// zeros ("No comment..." when it is null). The caller writes the four letters of the type word
/// next. Always 1; a failed write shows in `ferror(stream)`.
int headerWriteBinary(std::FILE* stream, const char* comment);

/// Reads the 88-byte binary header and the type word after it.
/// `version`, when not null, gets the writer's version; `comment`, when not null, the 80 comment
/// bytes, which need not hold a zero. A version newer than `RELEASE_NUMBER` prints a warning and is
/// otherwise accepted.
/// Returns the type word (see `typeWord`), or 0 when the magic does not match (88 bytes have then
/// been read), or the file ends or cannot be read (`ferror`) before the type word. `version` and
/// `comment` are zero when the magic does not match.
[[nodiscard]] std::uint32_t headerReadBinary(std::FILE* stream, float* version, char* comment);

/// Writes the ASCII header line of a file of the kind `typeName`, and an empty line after it.
/// Always 1.
int headerWriteAscii(std::FILE* stream, const char* typeName);

/// Reads the ASCII header line, at most 83 bytes of it. Returns its first four bytes as a type word
/// (0 when the file ends before) and stores 0 as the version.
[[nodiscard]] std::uint32_t headerReadAscii(std::FILE* stream, float* version);

// --- Strings -------------------------------------------------------------------------------------

/// Buffer size for a string that is read, with its terminating zero. Longer strings are consumed
/// and cut.
inline constexpr std::size_t kFileStringSize = 256;

/// Writes the characters of `string` and a zero byte. Returns 1; for a null `string` only the zero
/// byte is written and the result is 0.
int stringWriteBinary(std::FILE* stream, const char* string);

/// Reads characters up to a zero byte or end of file. Returns a string that the caller frees with
/// `free`, or null when out of memory or when reading failed.
[[nodiscard]] char* stringReadBinary(std::FILE* stream);

/// Skips to the next double quote and reads the characters up to the one after it (or end of file);
/// the closing quote is consumed. Returns a string that the caller frees with `free`, or null when
/// the file has no further quote, when out of memory, or when reading failed.
[[nodiscard]] char* stringReadAscii(std::FILE* stream);

// --- User data -----------------------------------------------------------------------------------

/// A block of bytes that an application attached to an object. Zero-filled when created.
struct UserData {
    char tag[4];        ///< owner of the bytes; not zero-terminated
    std::int32_t size;  ///< bytes at `data`
    std::uint8_t* data; ///< owned by the record; null when `size` is 0
    UserData* next;     ///< for callers that keep a list; not touched here
};

/// Releases one record and its bytes, and sets the pointer to null. Accepts null.
void userDataDispose(UserData** record);

struct UserDataDisposer {
    void operator()(UserData* record) const noexcept { userDataDispose(&record); }
};

/// Writes the record as ASCII, with `indent` before each of its lines. Returns the result of the
/// last formatted write: negative when it failed.
int userDataWriteAscii(std::FILE* stream, const UserData* record, const char* indent);

/// Reads a record from its quoted tag to its closing brace. `size` of the result is the number of
/// bytes read, never more than the file states and holds. Returns a record that the caller disposes
/// of, or null when there is no tag, when out of memory, or when reading failed.
[[nodiscard]] UserData* userDataReadAscii(std::FILE* stream);

// --- Prototypes ----------------------------------------------------------------------------------
//
// A prototype lists, for every kind of record in a binary scene file, the fields present and their
// order. Implemented in tinyFilePrototype.cpp.

/// Number of lists in a prototype.
inline constexpr int kPrototypeLists = 20;

/// Twenty lists of field tokens; an initialised list ends with the token 0.
struct Prototype {
    std::int16_t lengths[kPrototypeLists]; ///< tokens in each list, the closing 0 included
    std::int16_t* lists[kPrototypeLists];  ///< the tokens, owned by the record; null when empty
};

/// Returns a prototype with every list empty, or null when out of memory.
[[nodiscard]] Prototype* prototypeAllocate();

/// Frees every list and the record, and sets the pointer to null. Accepts null.
void prototypeDispose(Prototype** prototype);

struct PrototypeDisposer {
    void operator()(Prototype* prototype) const noexcept { prototypeDispose(&prototype); }
};

/// The thirteen initialisers: each fills the list (or lists) of its kind of record; with
/// `allocateFirst` other than 0 it first allocates a prototype into `*prototype`. Each returns 1,
/// or 0 when out of memory, in which case the whole prototype has been disposed of.
int prototypeInitModel(Prototype** prototype, int allocateFirst);
int prototypeInitFace(Prototype** prototype, int allocateFirst);
int prototypeInitPatch(Prototype** prototype, int allocateFirst);
int prototypeInitMesh(Prototype** prototype, int allocateFirst);
int prototypeInitSpline(Prototype** prototype, int allocateFirst);
int prototypeInitMaterial(Prototype** prototype, int allocateFirst);
int prototypeInitTexture3D(Prototype** prototype, int allocateFirst);
int prototypeInitTexture(Prototype** prototype, int allocateFirst);
int prototypeInitPhysical(Prototype** prototype, int allocateFirst);
int prototypeInitJoint(Prototype** prototype, int allocateFirst);
int prototypeInitEnvelopeData(Prototype** prototype, int allocateFirst);
int prototypeInitEnvelopeVertex(Prototype** prototype, int allocateFirst);
int prototypeInitCluster(Prototype** prototype, int allocateFirst);

/// Writes the section "PROT" with every list that is not empty. Always 1.
int prototypeWrite(std::FILE* stream, const Prototype* prototype);

/// Reads the section after its four letters. Returns a prototype that the caller disposes of, or
/// null when out of memory or when reading failed. A section that is cut short yields the lists
/// read so far.
[[nodiscard]] Prototype* prototypeRead(std::FILE* stream);
