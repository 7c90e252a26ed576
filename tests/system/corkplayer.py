#!/usr/bin/env python3
"""A script with one playing stream that pauses on SIGUSR1 and goes on playing on SIGUSR2.

    corkplayer.py SINK

Prints "ready" when the stream stands.
"""
import ctypes
import signal
import sys
import time

from scriptplayer import RATE, CHANNELS, S16LE, SampleSpec

CONTEXT_READY, STREAM_READY = 4, 2


def main():
    pulse = ctypes.CDLL("libpulse.so.0")
    for name in ("pa_threaded_mainloop_new", "pa_threaded_mainloop_get_api", "pa_context_new",
                 "pa_stream_new", "pa_stream_cork"):
        getattr(pulse, name).restype = ctypes.c_void_p

    loop = ctypes.c_void_p(pulse.pa_threaded_mainloop_new())
    api = ctypes.c_void_p(pulse.pa_threaded_mainloop_get_api(loop))
    pulse.pa_threaded_mainloop_start(loop)

    def locked(function, *arguments):
        pulse.pa_threaded_mainloop_lock(loop)
        try:
            return getattr(pulse, function)(*arguments)
        finally:
            pulse.pa_threaded_mainloop_unlock(loop)

    def await_state(function, thing, wanted):
        while locked(function, thing) != wanted:
            time.sleep(0.01)

    context = ctypes.c_void_p(locked("pa_context_new", api, b"corkable script"))
    locked("pa_context_connect", context, None, 0, None)
    await_state("pa_context_get_state", context, CONTEXT_READY)
    spec = SampleSpec(S16LE, RATE, CHANNELS)
    stream = ctypes.c_void_p(locked("pa_stream_new", context, b"silence", ctypes.byref(spec), None))
    locked("pa_stream_connect_playback", stream, sys.argv[1].encode(), None, 0, None, None)
    await_state("pa_stream_get_state", stream, STREAM_READY)

    def cork(is_corked):
        locked("pa_stream_cork", stream, is_corked, None, None)

    signal.pthread_sigmask(signal.SIG_BLOCK, {signal.SIGUSR1, signal.SIGUSR2})
    print("ready", flush=True)
    while True:
        cork(1 if signal.sigwait({signal.SIGUSR1, signal.SIGUSR2}) == signal.SIGUSR1 else 0)


main()
