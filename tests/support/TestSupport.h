// What all tests share: the assert watch, the way to data files, seeded random values.
#pragma once

#include "tests/support/Random.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace Support {

/// Every test fails when the library reports a broken internal condition, unless the test announces
/// how many reports it provokes.
void ExpectAssertions(int count);
/// Reports since the running test began, and the text of the last one: "file:line function".
int AssertionCount();
std::string LastAssertion();

/// A file of the shared inputs, for example SharedData("meshes_nist/x.stl"); empty when it is not there.
std::filesystem::path SharedData(const std::string& name);
/// A file of examples/data, which every checkout has.
std::filesystem::path ExampleData(const std::string& name);

/// A fresh empty folder that is removed with the object.
class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

private:
    std::filesystem::path path_;
};

} // namespace Support

/// `file` must be a non-empty path from SharedData; otherwise the test ends, marked as skipped.
#define SORVANE_NEED_DATA(file)                                                                    \
    if ((file).empty())                                                                            \
    GTEST_SKIP() << "the shared input of this test is not on this machine"
