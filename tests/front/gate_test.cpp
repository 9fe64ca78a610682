#include "front/model/gate.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

namespace front {
namespace {

// Something that another thread does with the gate, which may have to wait.
class OtherThread
{
public:
    explicit OtherThread(std::function<bool()> work)
        : thread([this, made = std::move(work)] {
              result = made();
              done = true;
          })
    {
    }
    ~OtherThread() { Join(); }
    OtherThread(const OtherThread&) = delete;
    OtherThread& operator=(const OtherThread&) = delete;

    bool IsDoneSoon() const
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        return done;
    }

    bool Result()
    {
        Join();
        return result;
    }

private:
    void Join()
    {
        if (thread.joinable()) {
            thread.join();
        }
    }

    std::atomic<bool> result{false};
    std::atomic<bool> done{false};
    std::thread thread;
};

TEST(GateTest, OneThreadAtATimeIsBehindIt)
{
    Gate gate;
    gate.Enter(Gate::Stay::brief);
    OtherThread other([&gate] {
        gate.Enter(Gate::Stay::brief);
        gate.Leave();
        return true;
    });
    EXPECT_FALSE(other.IsDoneSoon());
    gate.Leave();
    EXPECT_TRUE(other.Result());
}

TEST(GateTest, BriefStayIsWaitedForAndALongOneIsNot)
{
    Gate gate;
    gate.Enter(Gate::Stay::mayBeLong);
    EXPECT_FALSE(OtherThread([&gate] { return gate.EnterUnlessLong(); }).Result());
    gate.Leave();
    gate.Enter(Gate::Stay::brief);
    OtherThread other([&gate] { return gate.EnterUnlessLong(); });
    EXPECT_FALSE(other.IsDoneSoon());
    gate.Leave();
    EXPECT_TRUE(other.Result());
}

TEST(GateTest, LongStayIsForgottenWithItsEnd)
{
    Gate gate;
    gate.Enter(Gate::Stay::mayBeLong);
    gate.Leave();
    ASSERT_TRUE(gate.EnterUnlessLong());
    OtherThread other([&gate] { return gate.EnterUnlessLong(); });
    EXPECT_FALSE(other.IsDoneSoon());
    gate.Leave();
    EXPECT_TRUE(other.Result());
}

TEST(GateTest, LongStayThatHadToWaitIsALongOneToo)
{
    Gate gate;
    gate.Enter(Gate::Stay::brief);
    OtherThread first([&gate] {
        gate.Enter(Gate::Stay::mayBeLong);
        return true;
    });
    EXPECT_FALSE(first.IsDoneSoon());
    gate.Leave();
    EXPECT_TRUE(first.Result()); // and stays
    EXPECT_FALSE(gate.EnterUnlessLong());
}

TEST(GateTest, LongStayThatWouldNotHaveWaitedIsALongOneToo)
{
    Gate gate;
    ASSERT_TRUE(gate.EnterUnlessLong(Gate::Stay::mayBeLong));
    EXPECT_FALSE(OtherThread([&gate] { return gate.EnterUnlessLong(); }).Result());
}

TEST(GateTest, ForkDoesNotWaitForItsOwnThread)
{
    Gate gate;
    gate.Enter(Gate::Stay::brief);
    EXPECT_FALSE(gate.EnterForFork());
    OtherThread other([&gate] { return gate.EnterForFork(); });
    EXPECT_FALSE(other.IsDoneSoon());
    gate.Leave();
    EXPECT_TRUE(other.Result());
}

} // namespace
} // namespace front
