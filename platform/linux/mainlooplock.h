// The lock of a threaded main loop.
#pragma once

#include <pulse/thread-mainloop.h>

namespace pulse
{
class MainloopLock
{
public:
    explicit MainloopLock(pa_threaded_mainloop *mainloop) : mainloop(mainloop)
    {
        pa_threaded_mainloop_lock(mainloop);
    }
    ~MainloopLock() { pa_threaded_mainloop_unlock(mainloop); }
    MainloopLock(const MainloopLock &) = delete;
    MainloopLock &operator=(const MainloopLock &) = delete;

private:
    pa_threaded_mainloop *mainloop;
};
} // namespace pulse
