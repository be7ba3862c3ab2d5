// Runs the tests under a counting assert handler: a report that a test did not announce fails it.

#include "tests/support/TestSupport.h"

#include <Velk/Diagnostics_E.h>

#include <atomic>
#include <mutex>

namespace Support {
namespace {

std::atomic<int> assertionCount{0};
std::atomic<int> expectedCount{0};
std::mutex lastMutex;
std::string lastAssertion;

bool CountAssertion(const std::string& sourceFile, int line, const std::string& function)
{
    ++assertionCount;
    const std::lock_guard lock(lastMutex);
    lastAssertion = sourceFile + ":" + std::to_string(line) + " " + function;
    return false;
}

class AssertionWatch : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo&) override
    {
        Velk::Diagnostics::SetAssertHandler(&CountAssertion);
        assertionCount = 0;
        expectedCount = 0;
        const std::lock_guard lock(lastMutex);
        lastAssertion.clear();
    }

    void OnTestEnd(const testing::TestInfo&) override
    {
        EXPECT_EQ(assertionCount, expectedCount) << "last: " << LastAssertion();
    }
};

} // namespace

void ExpectAssertions(int count)
{
    expectedCount = count;
}

int AssertionCount()
{
    return assertionCount;
}

std::string LastAssertion()
{
    const std::lock_guard lock(lastMutex);
    return lastAssertion;
}

} // namespace Support

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    testing::UnitTest::GetInstance()->listeners().Append(new Support::AssertionWatch);
    return RUN_ALL_TESTS();
}
