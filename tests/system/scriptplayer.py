#!/usr/bin/env python3
"""A script that plays silence into a sink in several streams at once, until it is ended.

    scriptplayer.py SINK [STREAMS]

Prints "ready" when all streams stand.
"""
import ctypes
import sys
import threading

RATE, CHANNELS, S16LE, PLAYBACK = 48000, 2, 3, 1


class SampleSpec(ctypes.Structure):
    _fields_ = [("format", ctypes.c_int), ("rate", ctypes.c_uint32), ("channels", ctypes.c_uint8)]


def main():
    sink = sys.argv[1].encode()
    count = int(sys.argv[2]) if len(sys.argv) > 2 else 1
    pulse = ctypes.CDLL("libpulse-simple.so.0")
    pulse.pa_simple_new.restype = ctypes.c_void_p
    pulse.pa_simple_new.argtypes = [ctypes.c_char_p, ctypes.c_char_p, ctypes.c_int, ctypes.c_char_p,
                                    ctypes.c_char_p, ctypes.POINTER(SampleSpec), ctypes.c_void_p,
                                    ctypes.c_void_p, ctypes.POINTER(ctypes.c_int)]
    pulse.pa_simple_write.argtypes = [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_size_t,
                                      ctypes.POINTER(ctypes.c_int)]
    spec = SampleSpec(S16LE, RATE, CHANNELS)
    silence = bytes(RATE * CHANNELS * 2 // 10)
    standing = threading.Barrier(count + 1)

    def play():
        error = ctypes.c_int()
        stream = pulse.pa_simple_new(None, b"script", PLAYBACK, sink, b"silence",
                                     ctypes.byref(spec), None, None, ctypes.byref(error))
        standing.wait()
        while stream and pulse.pa_simple_write(stream, silence, len(silence), None) == 0:
            pass

    for _ in range(count):
        threading.Thread(target=play, daemon=True).start()
    standing.wait()
    print("ready", flush=True)
    threading.Event().wait()


if __name__ == "__main__":
    main()
