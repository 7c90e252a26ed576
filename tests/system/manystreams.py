#!/usr/bin/env python3
"""An application with many silent, paused streams on several sinks, which come and go at a rate.

    manystreams.py STREAMS RATE SINK...

Reads orders from its input and answers each with "done", when the server has taken everything up. A
server that falls behind is waited for, which makes it slower than RATE:

    grow      STREAMS streams come, RATE a second, on one sink after the other
    churn N   for N seconds the oldest stream goes and a new one comes in its place, so that RATE
              streams a second come or go
    shrink    all streams go, RATE a second
"""
import collections
import ctypes
import sys
import time

from scriptplayer import CHANNELS, RATE, S16LE, SampleSpec

UNDER_WAY = 20  # the most streams that the server has not taken up yet
CONTEXT_READY, STREAM_READY = 4, 2  # failures stand behind them
START_CORKED = 1


class Application:
    def __init__(self):
        self.pulse = ctypes.CDLL("libpulse.so.0")
        for name in ("pa_threaded_mainloop_new", "pa_threaded_mainloop_get_api", "pa_context_new",
                     "pa_stream_new"):
            getattr(self.pulse, name).restype = ctypes.c_void_p
        self.loop = ctypes.c_void_p(self.pulse.pa_threaded_mainloop_new())
        api = ctypes.c_void_p(self.pulse.pa_threaded_mainloop_get_api(self.loop))
        self.pulse.pa_threaded_mainloop_start(self.loop)
        self.context = ctypes.c_void_p(self.locked("pa_context_new", api, b"manystreams"))
        self.locked("pa_context_connect", self.context, None, 0, None)
        self.wait("pa_context_get_state", self.context, CONTEXT_READY)

    def locked(self, function, *arguments):
        self.pulse.pa_threaded_mainloop_lock(self.loop)
        try:
            return getattr(self.pulse, function)(*arguments)
        finally:
            self.pulse.pa_threaded_mainloop_unlock(self.loop)

    def wait(self, question, thing, wanted):
        deadline = time.monotonic() + 60
        while (state := self.locked(question, thing)) != wanted:
            if state > wanted or time.monotonic() > deadline:
                error = self.locked("pa_context_errno", self.context)
                sys.exit(f"manystreams: {question} gives {state}, error {error}")
            time.sleep(0.005)

    def add(self, sink):
        spec = SampleSpec(S16LE, RATE, CHANNELS)
        stream = ctypes.c_void_p(self.locked("pa_stream_new", self.context, b"one of many",
                                             ctypes.byref(spec), None))
        if self.locked("pa_stream_connect_playback", stream, sink, None, START_CORKED, None,
                       None) != 0:
            sys.exit("manystreams: a stream is refused")
        return stream

    def settle(self, streams):
        """Returns when all of these are taken up."""
        for stream in streams:
            self.wait("pa_stream_get_state", stream, STREAM_READY)

    def remove(self, stream):
        self.wait("pa_stream_get_state", stream, STREAM_READY)
        self.locked("pa_stream_disconnect", stream)
        self.locked("pa_stream_unref", stream)


def main():
    count, rate = int(sys.argv[1]), float(sys.argv[2])
    sinks = [sink.encode() for sink in sys.argv[3:]]
    application = Application()
    streams = collections.deque()
    made = 0

    def paced(changes):
        """Yields at the rate."""
        begin = time.monotonic()
        for number in range(int(changes)):
            time.sleep(max(0.0, begin + number / rate - time.monotonic()))
            yield

    def add():
        nonlocal made
        if len(streams) >= UNDER_WAY:
            application.settle([streams[-UNDER_WAY]])
        streams.append(application.add(sinks[made % len(sinks)]))
        made += 1

    for line in sys.stdin:
        order, *argument = line.split()
        if order == "grow":
            for _ in paced(count):
                add()
        elif order == "churn":
            for number, _ in enumerate(paced(float(argument[0]) * rate)):
                if number % 2:
                    add()
                else:
                    application.remove(streams.popleft())
        elif order == "shrink":
            for _ in paced(len(streams)):
                application.remove(streams.popleft())
        application.settle(streams)
        print("done", flush=True)


if __name__ == "__main__":
    main()
