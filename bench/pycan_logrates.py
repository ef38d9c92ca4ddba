#!/usr/bin/env python3
"""Times python-can 4.1 on one log: reads IN with its reader, then writes the
frames it read with its writer to OUT. Prints "read_rate write_rate" in frames/s.

    pycan_logrates.py FORMAT IN OUT      FORMAT: asc, blf, trc or log
"""
import sys
import time

import can

READERS = {"asc": can.ASCReader, "blf": can.BLFReader, "trc": can.TRCReader, "log": can.CanutilsLogReader}
WRITERS = {"asc": can.ASCWriter, "blf": can.BLFWriter, "trc": can.TRCWriter, "log": can.CanutilsLogWriter}


def main():
    fmt, src, dst = sys.argv[1:4]
    t0 = time.perf_counter()
    messages = list(READERS[fmt](src))
    t1 = time.perf_counter()
    writer = WRITERS[fmt](dst)
    for m in messages:
        writer.on_message_received(m)
    writer.stop()
    t2 = time.perf_counter()
    n = len(messages)
    print(f"{n / (t1 - t0):.0f} {n / (t2 - t1):.0f}")


if __name__ == "__main__":
    main()
