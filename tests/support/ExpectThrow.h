// EXPECT_THROW_WHAT: a statement must throw a given exception type whose what() holds a text.
#pragma once

#include <gtest/gtest.h>

#include <exception>
#include <optional>
#include <string>

namespace tintara::test {

// what() of the E the body throws; nothing when it returns normally. Any other exception goes on
// to the test, which then fails with it.
template <typename E, typename Body>
std::optional<std::string> ThrownWhat(Body&& body) {
    try {
        body();
    } catch (const E& e) {
        return std::string(e.what());
    }
    return std::nullopt;
}

template <typename E, typename Body>
::testing::AssertionResult ThrowsWhat(Body&& body, const std::string& expected,
                                      const char* statement, const char* type) {
    try {
        body();
    } catch (const E& e) {
        if (std::string(e.what()).find(expected) != std::string::npos)
            return ::testing::AssertionSuccess();
        return ::testing::AssertionFailure() << statement << " threw " << type << " \"" << e.what()
                                             << "\", which does not hold \"" << expected << "\"";
    } catch (const std::exception& e) {
        return ::testing::AssertionFailure()
               << statement << " threw another exception than " << type << ": " << e.what();
    } catch (...) {
        return ::testing::AssertionFailure()
               << statement << " threw something that is not a std::exception";
    }
    return ::testing::AssertionFailure() << statement << " threw nothing; expected " << type;
}

}  // namespace tintara::test

// Like EXPECT_THROW, and what() must contain `substring`. Further text can be streamed in with <<.
#define EXPECT_THROW_WHAT(statement, ExceptionType, substring)                              \
    EXPECT_TRUE(::tintara::test::ThrowsWhat<ExceptionType>([&] { statement; }, (substring), \
                                                           #statement, #ExceptionType))
