// Script text as a row of atoms: the one reader behind readatom and binbuf, and the
// words that both sides of the boundary between text and atoms must agree on.
#pragma once
#include <zan/symbols.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace zan {

// A place in text that is being read. Blanks part atoms; `;` and `,` are atoms of their
// own; a word in double quotes is a symbol whatever it holds; a backslash takes the
// next character as it is (in quotes \n, \r and \t are what they are in C).
struct text_reader {
    const char *text;
    size_t size;
    size_t at = 0;             // where reading goes on
    long line = 1;             // of `at`
    bool unterminated = false; // a quote ran into the end of the text
};

// Moves over blanks; false at the end of the text.
bool skip_blanks(text_reader &reader);
// Where a message would begin, `#` and a blank (or `##`, `#!`) begin a comment up to the
// end of the line; `#ff8000` is a word.
bool begins_comment(std::string_view text);
void skip_line(text_reader &reader);
// Reads one atom, its text without quotes and escapes into `token`. False at the end.
bool read_atom(text_reader &reader, std::string &token, atom &a);

// A number as scripts spell it into `a`; false when the word is none.
bool number_from_text(std::string_view word, atom &a);
// Appends a number in its shortest spelling that reads back as the same value.
void append_long(std::string &text, long value);
void append_float(std::string &text, double value);
// Appends atoms as text that reads back; `flags` as for atom_gettext.
void append_atoms(std::string &text, long argc, const atom *argv, long flags);
// The text of a symbol with $ in it, the arguments in their places ("0" for missing ones).
std::string substitute(const char *pattern, long argc, const atom *argv);

} // namespace zan
