#include <DSStore/DiagnosticHandler.h>

#include <mutex>
#include <utility>

namespace halvo::dsstore {
namespace {

struct ProcessHandler {
    std::mutex lock;
    DiagnosticHandler handler;
};

ProcessHandler& processHandler() {
    static ProcessHandler storage;
    return storage;
}

thread_local DiagnosticHandler threadHandler;

} // namespace

DiagnosticHandler DiagnosticHandlerStorage::get() {
    if (threadHandler)
        return threadHandler;
    ProcessHandler& process = processHandler();
    const std::lock_guard guard(process.lock);
    return process.handler;
}

void DiagnosticHandlerStorage::set(DiagnosticHandler handler) {
    ProcessHandler& process = processHandler();
    const std::lock_guard guard(process.lock);
    process.handler.swap(handler); // the old one is destroyed after the lock is released
}

ThreadDiagnosticHandler::ThreadDiagnosticHandler(DiagnosticHandler handler)
    : previous(std::exchange(threadHandler, std::move(handler))) {}

ThreadDiagnosticHandler::~ThreadDiagnosticHandler() { threadHandler = std::move(previous); }

} // namespace halvo::dsstore
