#pragma once

#include <functional>
#include <string>

namespace halvo::dsstore {

/// Told about oddities that do not stop a read, such as records out of order. Called on the reading thread.
using DiagnosticHandler = std::function<void(const std::string&)>;

/// Who is told: the handler of the calling thread where one is set, else the one of the whole process.
class DiagnosticHandlerStorage {
public:
    /// The handler that applies on this thread; empty when there is none.
    static DiagnosticHandler get();
    /// Sets the handler of the whole process; an empty one removes it.
    static void set(DiagnosticHandler handler);
};

/// Sets the handler of the calling thread while this object lives, then restores the one before. An empty
/// handler lets the one of the process through. Lives and dies on one thread.
class ThreadDiagnosticHandler {
public:
    explicit ThreadDiagnosticHandler(DiagnosticHandler handler);
    ThreadDiagnosticHandler(const ThreadDiagnosticHandler&) = delete;
    ThreadDiagnosticHandler& operator=(const ThreadDiagnosticHandler&) = delete;
    ~ThreadDiagnosticHandler();

private:
    DiagnosticHandler previous;
};

} // namespace halvo::dsstore
