// The assert handler: what is installed, what it is told, what becomes of its answer, and calls
// from several threads at once.

#include <Velk/Diagnostics_E.h>

#include "tests/support/TestSupport.h"

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace {

using Velk::Diagnostics::AssertHandler;
using Velk::Diagnostics::SetAssertHandler;
using Velk::Diagnostics::Details::InvokeCurrentAssertHandler;

/// Puts the handler of the tests back when a test has finished.
class HandlerGuard {
public:
    HandlerGuard() : before_(SetAssertHandler(nullptr)) {}
    ~HandlerGuard() { SetAssertHandler(before_); }
    HandlerGuard(const HandlerGuard&) = delete;
    HandlerGuard& operator=(const HandlerGuard&) = delete;

private:
    AssertHandler before_;
};

bool AnswerYes(const std::string&, int, const std::string&) { return true; }

bool AnswerNo(const std::string&, int, const std::string&) { return false; }

// Handlers are plain functions: what they are told goes through these.
std::string toldFile;
int toldLine = 0;
std::string toldFunction;

bool Remember(const std::string& sourceFile, int line, const std::string& function)
{
    toldFile = sourceFile;
    toldLine = line;
    toldFunction = function;
    return true;
}

std::atomic<int> calls{0};
std::atomic<int> wrongCalls{0};

bool Count(const std::string& sourceFile, int line, const std::string& function)
{
    ++calls;
    if (sourceFile != "Worker" + std::to_string(line) + ".cpp" || function != "Work") {
        ++wrongCalls;
    }
    return line % 2 == 1;
}

TEST(Diagnostics, DefaultIsSilentAndAnswersFalse)
{
    const HandlerGuard guard;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    EXPECT_FALSE(InvokeCurrentAssertHandler("File.cpp", 12, "Function"));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(Support::AssertionCount(), 0); // the handler of the tests is out
}

TEST(Diagnostics, InstallingReturnsTheOneReplaced)
{
    const HandlerGuard guard;
    const AssertHandler silent = SetAssertHandler(&AnswerYes);
    ASSERT_NE(silent, nullptr);
    EXPECT_FALSE(silent("File.cpp", 12, "Function"));
    EXPECT_EQ(SetAssertHandler(&AnswerNo), &AnswerYes);
    EXPECT_EQ(SetAssertHandler(&AnswerNo), &AnswerNo);
    EXPECT_EQ(SetAssertHandler(silent), &AnswerNo); // it can be put back like any other
    EXPECT_FALSE(InvokeCurrentAssertHandler("File.cpp", 12, "Function"));
}

TEST(Diagnostics, NullRestoresTheDefault)
{
    const HandlerGuard guard;
    const AssertHandler silent = SetAssertHandler(&AnswerYes);
    EXPECT_TRUE(InvokeCurrentAssertHandler("File.cpp", 12, "Function"));
    EXPECT_EQ(SetAssertHandler(nullptr), &AnswerYes);
    EXPECT_FALSE(InvokeCurrentAssertHandler("File.cpp", 12, "Function"));
    EXPECT_EQ(SetAssertHandler(nullptr), silent);
}

TEST(Diagnostics, TheAnswerIsHandedOn)
{
    const HandlerGuard guard;
    SetAssertHandler(&AnswerYes);
    EXPECT_TRUE(InvokeCurrentAssertHandler("File.cpp", 12, "Function"));
    SetAssertHandler(&AnswerNo);
    EXPECT_FALSE(InvokeCurrentAssertHandler("File.cpp", 12, "Function"));
}

TEST(Diagnostics, TheHandlerIsToldFileLineAndFunction)
{
    const HandlerGuard guard;
    SetAssertHandler(&Remember);
    const std::string function = "Velk::Math::Outer::<lambda_1>::operator ()";
    InvokeCurrentAssertHandler("mathbase/Some File.cpp", -7, function);
    EXPECT_EQ(toldFile, "mathbase/Some File.cpp");
    EXPECT_EQ(toldLine, -7);
    EXPECT_EQ(toldFunction, function);
    InvokeCurrentAssertHandler("", 0, "");
    EXPECT_EQ(toldFile + toldFunction, "");
    EXPECT_EQ(toldLine, 0);
}

TEST(Diagnostics, ReportsMayComeFromManyThreads)
{
    const HandlerGuard guard;
    SetAssertHandler(&Count);
    calls = 0;
    wrongCalls = 0;
    constexpr int kThreads = 8;
    constexpr int kReports = 2000;
    std::atomic<int> wrongAnswers{0};
    std::vector<std::thread> workers;
    for (int worker = 0; worker < kThreads; ++worker) {
        workers.emplace_back([worker, &wrongAnswers] {
            const std::string file = "Worker" + std::to_string(worker) + ".cpp";
            for (int i = 0; i < kReports; ++i) {
                if (InvokeCurrentAssertHandler(file, worker, "Work") != (worker % 2 == 1)) {
                    ++wrongAnswers;
                }
            }
        });
    }
    for (std::thread& worker : workers) {
        worker.join();
    }
    EXPECT_EQ(calls, kThreads * kReports); // installed here, seen by every thread
    EXPECT_EQ(wrongCalls, 0);
    EXPECT_EQ(wrongAnswers, 0);
}

TEST(Diagnostics, InstallingWhileOthersReportReachesOneOfTheHandlers)
{
    const HandlerGuard guard;
    SetAssertHandler(&Count);
    wrongCalls = 0;
    std::atomic<bool> done{false};
    std::atomic<int> wrongAnswers{0};
    std::vector<std::thread> workers;
    for (int worker = 0; worker < 2; ++worker) {
        workers.emplace_back([&done, &wrongAnswers] {
            const std::string file = "Worker1.cpp";
            do {
                // Both handlers answer true to line 1.
                wrongAnswers += InvokeCurrentAssertHandler(file, 1, "Work") ? 0 : 1;
            } while (!done);
        });
    }
    int wrongPredecessors = 0;
    for (int i = 0; i < 2000; ++i) {
        wrongPredecessors += SetAssertHandler(&AnswerYes) == &Count ? 0 : 1;
        wrongPredecessors += SetAssertHandler(&Count) == &AnswerYes ? 0 : 1;
    }
    done = true;
    for (std::thread& worker : workers) {
        worker.join();
    }
    EXPECT_EQ(wrongPredecessors, 0);
    EXPECT_EQ(wrongAnswers, 0);
    EXPECT_EQ(wrongCalls, 0);
}

TEST(Diagnostics, TheHandlerOfTheTestsCountsWhatATestAnnounces)
{
    Support::ExpectAssertions(2);
    EXPECT_FALSE(InvokeCurrentAssertHandler("File.cpp", 12, "Function"));
    EXPECT_FALSE(InvokeCurrentAssertHandler("Other.cpp", 3, "Elsewhere"));
    EXPECT_EQ(Support::AssertionCount(), 2);
    EXPECT_EQ(Support::LastAssertion(), "Other.cpp:3 Elsewhere");
}

} // namespace
