// SPDX-License-Identifier: MIT
// The parts of a page that are the same in all pages.
#pragma once

extern const char* const kPageStyle;
/// The heads of the table's columns.
extern const char* const kPageColumns;
/// Sorts the rows by a column when its head is clicked, or by the one that the address ends with:
/// "#bytes", or "#-bytes" for the other direction. Empty cells come last.
extern const char* const kPageScript;
