#include "ui/mainloopbridge.h"

#include "base/fmainloop.h"

namespace Quillmark
{

MainLoopBridge::MainLoopBridge(QObject* parent) : QObject(parent)
{
    timer.setInterval(int(FMainLoop::kIdleIntervalMs));
    connect(&timer, &QTimer::timeout, this, &MainLoopBridge::serve);
}

void MainLoopBridge::start()
{
    timer.start();
}

void MainLoopBridge::stop()
{
    timer.stop();
}

void MainLoopBridge::serve()
{
    FMainLoop* loop = FMainLoop::instance();
    loop->dispatchDue();
    loop->fireTimers();
    loop->runIdlePass();
}

} // namespace Quillmark
