#pragma once

#include <exception>
#include <string>

#include <gtest/gtest.h>

namespace halvo::test {

/// The description of the failure of that type that `operation` raises. Fails the test when it raises nothing
/// or something else.
template<typename Error, typename Operation>
std::string descriptionThrown(Operation operation) {
    try {
        operation();
        ADD_FAILURE() << "nothing was thrown";
    } catch (const Error& error) {
        return error.description();
    } catch (const std::exception& error) {
        ADD_FAILURE() << "another failure: " << error.what();
    }
    return {};
}

} // namespace halvo::test
