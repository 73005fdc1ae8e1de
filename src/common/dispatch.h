#pragma once

#include <functional>
#include <QObject>

// Helpers that let threaded steps read the way they were designed:
//
//   dispatch_async(dispatch_get_main_queue(), ^{ ... })   -> Dispatch::main(fn)
//   dispatch_sync(dispatch_get_main_queue(), ^{ ... })    -> Dispatch::mainSync(fn)
//   dispatch_after(seconds, main queue, ^{ ... })         -> Dispatch::after(seconds, fn)
//   dispatch_async(dispatch_get_global_queue(...), ^{ })  -> Dispatch::background(fn)
//   [NSThread isMainThread]                               -> Dispatch::isMainThread()
//
// Serial and concurrent labelled queues, groups and counting semaphores have
// classes of their own: SerialQueue, ConcurrentQueue, DispatchGroup, Semaphore.
//
// "Main" is the thread of the QCoreApplication instance, which must exist.
namespace Dispatch {

bool isMainThread();

// Runs fn later on the main thread's event loop, in the order posted.
void main(std::function<void()> fn);

// Runs fn on the main thread and waits for it; runs it at once when already there.
void mainSync(const std::function<void()> &fn);

// Runs fn on the main thread after `seconds`. With a context, fn is dropped
// when the context object is destroyed first.
void after(double seconds, std::function<void()> fn);
void after(double seconds, QObject *context, std::function<void()> fn);

// Runs fn on the shared thread pool, which has as many threads as the
// machine has cores: for short work only.
void background(std::function<void()> fn);

// Runs fn on a thread of its own, for work that may take minutes (zipping a
// folder): on two cores two such jobs would otherwise take the whole pool
// and every short job would wait for them.
void longRunning(std::function<void()> fn);

} // namespace Dispatch
