#pragma once

#include "CString.h"

// The alphabets of numbers, escapes and the shell. Every source file has copies of its own, built in this
// order before main; code that runs before main in another file must not count on them.

const CString ALPHABET_NULL_CHAR('\0');  ///< One NUL, not an empty text.
const CString ALPHABET_TAB_CHAR('\t');
const CString ALPHABET_CR_CHAR('\r');
const CString ALPHABET_LF_CHAR('\n');
const CString ALPHABET_NUMBER("0123456789");
const CString ALPHABET_INTEGER_NUMBER("+-0123456789");
const CString ALPHABET_FLOAT_NUMBER("+-.,0123456789eE");
const CString ALPHABET_DOUBLE_NUMBER("+-.,0123456789dD");
const CString ALPHABET_REAL_NUMBER("+-.,0123456789eEdD");
const CString ALPHABET_HEX_NUMBER("0123456789abcdefABCDEF");

/// Characters with a C escape, and their letters in the same order; the extra '0' is NUL.
const CString ALPHABET_CTL_CHARS("'\"?\\\a\b\f\n\r\t\v");
const CString ALPHABET_ESC_SEQUENCE("'\"?\\abfnrtv0");

const CString ALPHABET_SHELL_CHARS(" !@#$%^&*(){}[];'\"\\|<>?");
