// The assert handler: the one piece of process-wide state, an atomic pointer.

#include <Velk/Diagnostics_E.h>

#include <atomic>

namespace Velk::Diagnostics {
namespace {

bool IgnoreAssertion(const std::string&, int, const std::string&)
{
    return false;
}

std::atomic<AssertHandler> currentHandler{&IgnoreAssertion};

} // namespace

AssertHandler SetAssertHandler(AssertHandler handler)
{
    return currentHandler.exchange(handler != nullptr ? handler : &IgnoreAssertion);
}

namespace Details {

bool InvokeCurrentAssertHandler(std::string sourceFile, int line, std::string function)
{
    return currentHandler.load()(sourceFile, line, function);
}

} // namespace Details
} // namespace Velk::Diagnostics
