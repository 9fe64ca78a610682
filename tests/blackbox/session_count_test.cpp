// The cost of a call does not depend on how many sessions are open.
#include "tests/support/black_box_test.h"

#include <algorithm>
#include <limits>

namespace blackbox {
namespace {

constexpr size_t fewSessions = 10;
constexpr size_t manySessions = 10000;
constexpr int rounds = 5;
constexpr int samplesPerRound = 301;
constexpr double mostOften = 2.0; // times slower at the most

using Nanoseconds = std::chrono::nanoseconds::rep;

class SessionCountTest : public BlackBoxTest
{
protected:
    void SetOpenSessions(size_t count)
    {
        while (sessions.size() < count) {
            sessions.push_back(OpenSession(1 + static_cast<CK_SLOT_ID>(sessions.size() % 2)));
        }
        while (sessions.size() > count) {
            ASSERT_EQ(f->C_CloseSession(sessions.back()), CKR_OK);
            sessions.pop_back();
        }
    }

    // The median of many samples, which a busy machine disturbs little.
    template <typename Call>
    static Nanoseconds MedianOf(const Call& call)
    {
        std::vector<Nanoseconds> samples(samplesPerRound);
        for (Nanoseconds& sample : samples) {
            const auto begin = std::chrono::steady_clock::now();
            call();
            sample = (std::chrono::steady_clock::now() - begin).count();
        }
        std::nth_element(samples.begin(), samples.begin() + (samplesPerRound / 2), samples.end());
        return samples[samplesPerRound / 2];
    }

    // Both states in turn, and the best round of each: what disturbs the one disturbs the other as well.
    template <typename Call>
    double SlowdownOf(const Call& call)
    {
        Nanoseconds few = std::numeric_limits<Nanoseconds>::max();
        Nanoseconds many = std::numeric_limits<Nanoseconds>::max();
        for (int round = 0; round < rounds; ++round) {
            SetOpenSessions(fewSessions);
            few = std::min(few, MedianOf(call));
            SetOpenSessions(manySessions);
            many = std::min(many, MedianOf(call));
        }
        return static_cast<double>(many) / static_cast<double>(few);
    }

    std::vector<CK_SESSION_HANDLE> sessions;
};

TEST_F(SessionCountTest, GetSessionInfoCostsTheSameWithTenThousandSessions)
{
    InitializeWithCard();
    CK_SESSION_INFO info{};
    EXPECT_LE(SlowdownOf([&] { EXPECT_EQ(f->C_GetSessionInfo(sessions.back(), &info), CKR_OK); }), mostOften);
}

TEST_F(SessionCountTest, OpeningAndClosingCostTheSameWithTenThousandSessions)
{
    InitializeWithCard();
    EXPECT_LE(SlowdownOf([&] { EXPECT_EQ(f->C_CloseSession(OpenSession(1)), CKR_OK); }), mostOften);
}

} // namespace
} // namespace blackbox
