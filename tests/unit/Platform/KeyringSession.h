#pragma once

#include <Platform/Environment.h>

#include <string>

#include <gtest/gtest.h>

namespace halvo {

/// Fails the test unless it runs inside `tests/support/keyring-session <mode>`, so that no test can reach the
/// keyring of the person who runs it.
inline void requireKeyringSession(const std::string& mode) {
    ASSERT_EQ(Environment::ofProcess().find("HALVO_TEST_KEYRING"), mode)
        << "run this test with tests/support/keyring-session " << mode;
}

} // namespace halvo
