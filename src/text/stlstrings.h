#pragma once

// The text library: this header brings all of it.

#include "CCharHistogram.h"  // IWYU pragma: export
#include "CCharset.h"        // IWYU pragma: export
#include "CString.h"         // IWYU pragma: export
#include "CStringList.h"     // IWYU pragma: export
#include "alphabets.h"       // IWYU pragma: export
#include "iterators.h"       // IWYU pragma: export
#include "parsing.h"         // IWYU pragma: export
#include "quoting.h"         // IWYU pragma: export
#include "stlconvert.h"      // IWYU pragma: export
#include "strfunctions.h"    // IWYU pragma: export
