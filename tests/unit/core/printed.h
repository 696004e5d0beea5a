// What a piece of a test prints on standard output, or on standard error.
#pragma once

#include <gtest/gtest.h>

#include <string>

template <typename Act>
std::string Printed(Act act) {
    testing::internal::CaptureStdout();
    act();
    return testing::internal::GetCapturedStdout();
}

template <typename Act>
std::string Complained(Act act) {
    testing::internal::CaptureStderr();
    act();
    return testing::internal::GetCapturedStderr();
}
