#include "src/readers/monitoring_thread.h"

#include "tests/unit/card/stub_card.h"
#include "tests/unit/store/store_fixture.h"

#include <atomic>
#include <chrono>
#include <system_error>

using MonitoringThreadSelfJoinTest = StoreTest;

TEST_F(MonitoringThreadSelfJoinTest, IsADeadlockThatIsReported)
{
    auto& monitoring = MonitoringThread::GetInstance();
    std::atomic<bool> started{false};
    std::atomic<bool> tried{false};
    std::error_code error;
    StubCard().onWait = [&](ReaderCallback) {
        if (started && !tried) {
            try {
                monitoring.Join();
            } catch (const std::system_error& raised) {
                error = raised.code();
            }
            tried = true;
        }
    };
    monitoring.Start();
    started = true;
    for (int i = 0; i < 60000 && !tried; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    monitoring.Stop();
    monitoring.Join();
    EXPECT_TRUE(tried);
    EXPECT_EQ(error, std::make_error_code(std::errc::resource_deadlock_would_occur));
}
