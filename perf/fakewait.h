// Replaces select() in the program that links fakewait.cpp: a wait takes no time and is added up instead.
#pragma once

namespace fakewait {

/// Milliseconds that the program has asked to wait so far.
long WaitedMs();
void Reset();

}  // namespace fakewait
