// The host's 8-byte observation word and the value helpers that go with it.
//
// A value has a value type: 0 for numeric (one word read as a double), n > 0
// for a string of n bytes stored blank-padded in (n + 7) / 8 consecutive words.
#ifndef KVHOST_OBS_H
#define KVHOST_OBS_H

union OBS {
    double num;
    char str[8];
};

static_assert(sizeof(OBS) == 8, "an observation word is 8 bytes");

// Number of OBS words a value of the given type occupies (numeric: 1).
inline int ObsWords(int valueType) { return valueType <= 0 ? 1 : (valueType + 7) / 8; }

// Orders two values of the same width: numbers numerically (width 0; -0.0
// equals 0.0, a NaN comes after every number), strings
// byte by byte as unsigned characters over `width` bytes (the words are
// contiguous). Returns negative, 0 or positive. Blank padding is significant
// here; callers that want trailing blanks ignored pad both sides first.
int ObsLexCompare(const OBS& a, const OBS& b, int width);

// Collates two NUL-terminated UTF-8 labels as people expect to see them
// sorted: case-insensitively first (ASCII, Latin-1, Greek and Cyrillic
// letters; accented Latin-1 letters beside their base letter), then by code
// point, then by byte, so that only identical texts are equal. Returns -1, 0
// or 1; a null pointer reads as "".
int VESKMBstrcoll_A(const char* a, const char* b);

// Copies `src` into a field of `width` bytes, blank-padding the rest. Never
// splits a multi-byte UTF-8 character: one that does not fit is left out
// whole (a malformed byte counts as a character of its own). Returns the
// number of bytes of `src` copied; a width of 0 or less writes nothing.
int VESKMBCopyToFixed_A(char* dest, int width, const char* src);

#endif
