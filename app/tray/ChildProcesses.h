#pragma once

#include <QList>

#include <chrono>

namespace lumora {

// Every process below this one (children, their children, ...), from /proc.
QList<qint64> descendantProcesses();

// Ends what the tray still runs when it quits: a Codex conversation or status check in flight
// is a child process that a worker thread waits for. Each descendant is asked to terminate, the
// worker threads then see their child gone, reap it and finish; whatever is left after `grace`
// is killed. Returns once the thread pool is idle or the time is up.
void endChildProcesses(std::chrono::milliseconds grace = std::chrono::seconds(2));

} // namespace lumora
