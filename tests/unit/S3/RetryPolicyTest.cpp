#include <S3/RetryPolicy.h>

#include <gtest/gtest.h>

namespace halvo {
namespace {

using namespace std::chrono_literals;

TEST(RetryDelay, growsUpToALimitAndVariesByHalf) {
    EXPECT_EQ(retryDelay(1, 0.5, {}), 375ms);
    EXPECT_EQ(retryDelay(5, 0.999999, {}), 7999ms);
    EXPECT_EQ(retryDelay(1'000'000, 0.0, {}), 4000ms);
}

TEST(RetryDelay, waitsWhatTheServerAsksForWithinReason) {
    EXPECT_EQ(retryDelay(1, 0.0, 20s), 20s);
    EXPECT_EQ(retryDelay(4, 0.0, 1s), 2000ms);
    EXPECT_EQ(retryDelay(1, 0.0, 86'400s), 60s);
}

TEST(RetryAfter, isReadAsSecondsOnly) {
    EXPECT_EQ(parseRetryAfter(" 7 "), 7s);
    for (const char* text :
         {"", "-1", "soon", "7.5", "Fri, 24 May 2013 00:00:00 GMT", "99999999999999999999"})
        EXPECT_EQ(parseRetryAfter(text), std::nullopt) << text;
    EXPECT_EQ(parseRetryAfter(std::nullopt), std::nullopt);
}

} // namespace
} // namespace halvo
