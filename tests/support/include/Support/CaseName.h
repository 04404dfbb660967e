#pragma once

#include <string>

#include <gtest/gtest.h>

namespace halvo::test {

/// Names each row of a table test by its `name` field: the last argument of INSTANTIATE_TEST_SUITE_P.
struct CaseName {
    template<typename Case>
    std::string operator()(const testing::TestParamInfo<Case>& row) const {
        return std::string(row.param.name);
    }
};

} // namespace halvo::test
