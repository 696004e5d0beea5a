// Replaces gettimeofday() and time() in the program that links fakeclock.cpp: a wall clock that a test sets.
#pragma once

namespace fakeclock {

/// Sets the clock, in microseconds since the epoch; it may jump either way.
void Set(long long microseconds);
long long Now();

}  // namespace fakeclock
