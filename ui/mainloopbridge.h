// Drives the host's main loop from Qt's event loop: posted messages, timers and the idle pass
// ("Idle", deferred procedures, queued commands, deferred updates) every few milliseconds, in
// the same order as the loop of its own. Owned by the desktop entry for the program's life.
#pragma once

#include <QObject>
#include <QTimer>

namespace Quillmark
{

class MainLoopBridge : public QObject
{
    Q_OBJECT
public:
    explicit MainLoopBridge(QObject* parent = nullptr);

    void start();
    void stop();
    /** One round of the host's loop, now. */
    void serve();

private:
    QTimer timer;
};

} // namespace Quillmark
