#include <Terminal/TransferRate.h>

#include <gtest/gtest.h>

namespace halvo {
namespace {

using namespace std::chrono_literals;

class TransferRateTest : public testing::Test {
protected:
    /// Goes on for `duration` at `speed` bytes per second, with a record every `interval`.
    void transfer(std::chrono::milliseconds duration, double speed,
                  std::chrono::milliseconds interval = 50ms) {
        for (auto spent = 0ms; spent < duration; spent += interval) {
            now += interval;
            done += static_cast<std::uint64_t>(speed * std::chrono::duration<double>(interval).count());
            rate.record(now, done);
        }
    }

    TransferRate rate;
    TransferRate::TimePoint now{};
    std::uint64_t done = 0;
};

TEST_F(TransferRateTest, saysNothingAtTheStart) {
    EXPECT_FALSE(rate.bytesPerSecond());
    EXPECT_FALSE(rate.remaining(1000));
    rate.record(now, 0);
    rate.record(now, 500'000); // no time has passed
    EXPECT_FALSE(rate.bytesPerSecond());
    transfer(300ms, 1e6);
    EXPECT_FALSE(rate.bytesPerSecond());
}

TEST_F(TransferRateTest, measuresASteadyTransfer) {
    rate.record(now, 0);
    for (const auto interval : {7ms, 50ms, 900ms}) {
        transfer(10s, 1e6, interval);
        ASSERT_TRUE(rate.bytesPerSecond());
        EXPECT_NEAR(*rate.bytesPerSecond(), 1e6, 1e4) << interval.count();
    }
    const auto left = rate.remaining(done + 5'000'000);
    ASSERT_TRUE(left);
    EXPECT_NEAR(static_cast<double>(left->count()), 5, 1);
    EXPECT_EQ(rate.remaining(done), 0s);
    EXPECT_FALSE(rate.remaining(0));
}

TEST_F(TransferRateTest, forgetsTheSpeedOfAStalledTransfer) {
    rate.record(now, 0);
    transfer(5s, 1e6);
    transfer(5s, 0);
    EXPECT_LT(*rate.bytesPerSecond(), 0.3e6);
    transfer(300s, 0);
    EXPECT_FALSE(rate.remaining(done + 1000)); // never, rather than in ages
}

TEST_F(TransferRateTest, startsAnewWhenTheTransferDoes) {
    rate.record(now, 0);
    transfer(5s, 1e6);
    done = 1'000'000; // what was there before does not count
    rate = {};
    rate.record(now, done);
    transfer(100ms, 1e6);
    EXPECT_FALSE(rate.bytesPerSecond());
    done = 0;
    transfer(5s, 2e6);
    EXPECT_NEAR(*rate.bytesPerSecond(), 2e6, 1e5);
}

} // namespace
} // namespace halvo
