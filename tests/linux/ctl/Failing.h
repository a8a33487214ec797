#pragma once

#include <gtest/gtest.h>

#include <string>

#include "Failure.h"

// Whether the call ends in a failure of that status whose one line holds the text.
template <class Call>
testing::AssertionResult fails(lumctl::ExitStatus status, const std::string& text, Call call) {
    try {
        call();
        return testing::AssertionFailure() << "no failure";
    } catch (const lumctl::Failure& failure) {
        const std::string line = failure.what();
        const bool isOne = line.find('\n') == std::string::npos;
        if (isOne && failure.status() == status && line.find(text) != std::string::npos) {
            return testing::AssertionSuccess();
        }
        return testing::AssertionFailure() << failure.status() << ": " << line;
    }
}
