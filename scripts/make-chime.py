#!/usr/bin/env python3
"""Writes the alert chime: half a second of two soft bell partials, 44.1 kHz 16-bit mono.

    scripts/make-chime.py OrrelApp/Alerts/sounds/soft-chime.wav
"""
import math
import struct
import sys
import wave

RATE = 44100
DURATION = 0.5
# (frequency in Hz, amplitude, decay per second): an A6 with a fifth above, the upper one fading
# faster, which is what makes it read as a chime rather than a beep.
PARTIALS = [(1760.0, 0.55, 7.0), (2637.0, 0.25, 11.0), (880.0, 0.12, 6.0)]
ATTACK = 0.006  # seconds; a hard onset clicks
PEAK = 0.5      # of full scale, so it sits below other desktop sounds


def sample(t):
    value = sum(a * math.exp(-d * t) * math.sin(2 * math.pi * f * t) for f, a, d in PARTIALS)
    envelope = min(1.0, t / ATTACK)
    tail = min(1.0, (DURATION - t) / 0.05)  # fade the last 50 ms to silence
    return value * envelope * max(0.0, tail)


def main(path):
    frames = [sample(i / RATE) for i in range(int(RATE * DURATION))]
    scale = PEAK * 32767 / max(abs(f) for f in frames)
    data = b"".join(struct.pack("<h", round(f * scale)) for f in frames)
    with wave.open(path, "wb") as out:
        out.setnchannels(1)
        out.setsampwidth(2)
        out.setframerate(RATE)
        out.writeframes(data)


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    main(sys.argv[1])
