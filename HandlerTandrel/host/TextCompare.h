#pragma once
// Ordering of names as people read them: case-insensitive, with numbers compared by value.
#include <string_view>

namespace host {

// Compares two UTF-16 strings for display order; returns a negative number when a comes
// first, a positive number when b comes first and 0 when they are the same name.
//
// - Case: characters are compared after Unicode simple case folding, for every script, so
//   u"\u00C9tude 2" and u"\u00C9TUDE 2" compare equal (0) and Greek final sigma matches
//   capital sigma. Simple folding maps one character to one character: German "\u00DF" stays
//   different from "SS" (capital sharp s U+1E9E folds to it, though). Accents are never
//   removed ("\u00E9" is not "e"). ASCII text takes a fast path without any table.
// - Numbers: a run of ASCII digits '0'-'9' is one item, compared with another run by numeric
//   value, so "Shot 2" < "Shot 10". Runs of any length work: leading zeros are skipped, then
//   the longer run is the larger number, then the digits decide one by one. Other digits
//   (Arabic-Indic, full-width) are ordinary characters.
// - Leading zeros: runs of equal value written with different leading zeros ("7", "07",
//   "007") are equal while the rest of the names is compared; only when everything else is
//   equal does the first such run decide, fewer zeros first: "Shot 7" < "Shot 007" <
//   "Shot 8". So 0 is returned exactly when both strings are equal after case folding,
//   digit for digit.
// - Everything else is compared by folded code point, letters as lower case. A digit run
//   stands where the digits stand in that order: after space and "!" to "/" (such as "-",
//   "(" and "."), before ":" to "@", "[" to "`" (such as "_"), letters, "{" to "~" and every
//   non-ASCII character. A name that is a prefix of the other comes first; the empty string
//   comes before every other string.
// - Invalid UTF-16: a surrogate that is not part of a pair is compared as its code unit
//   value. Every input, well-formed or not, is accepted.
//
// The result is a strict weak ordering over all strings (its equivalence classes are the
// strings that compare 0), suitable for std::sort with CompareNaturalNoCase(a, b) < 0. It
// does not depend on the C or C++ locale and uses no collator, so it is the same on every
// machine and in every language. Thread-safe; it never allocates and never throws.
int CompareNaturalNoCase(std::u16string_view a, std::u16string_view b) noexcept;

} // namespace host
