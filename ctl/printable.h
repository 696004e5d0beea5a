// Text of unknown origin, such as a file name, made fit for one line of a terminal.
#pragma once

#include <string>

/// UTF-8 stays as it is. A byte that is none, a control character and one that changes the direction or the
/// lines of the text around it become \xNN per byte, and a backslash becomes two, so that no two texts look
/// alike.
std::string Printable(const std::string& text);
