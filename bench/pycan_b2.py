#!/usr/bin/python3
"""B2 reference: python-can's virtual bus -> Notifier -> CSVWriter on this machine.

One sender pushes classic 8-byte frames carrying their sequence number into a
virtual bus as fast as it can; a second bus on the same channel receives them
through a Notifier that hands every message to a CSVWriter. Rate = frames in
the file over the time from the first send to the last frame written.
Run with the Debian python (python3-can): /usr/bin/python3 bench/pycan_b2.py [frames]
"""
import os
import sys
import tempfile
import threading
import time

import can

frames = int(sys.argv[1]) if len(sys.argv) > 1 else 500_000
path = os.path.join(tempfile.mkdtemp(), "b2.csv")
rx = can.Bus(interface="virtual", channel="b2", receive_own_messages=False)
tx = can.Bus(interface="virtual", channel="b2")
writer = can.CSVWriter(path)
done = threading.Event()
seen = [0]


def count(msg):
    seen[0] += 1
    if seen[0] == frames:
        done.set()


notifier = can.Notifier(rx, [writer, count], timeout=0.1)
start = time.perf_counter()
for seq in range(frames):
    tx.send(can.Message(arbitration_id=seq & 0x7FF, is_extended_id=False, data=seq.to_bytes(8, "little")))
sent = time.perf_counter()
done.wait(300)
end = time.perf_counter()
notifier.stop()
writer.stop()
rx.shutdown()
tx.shutdown()
with open(path) as f:
    rows = sum(1 for _ in f) - 1
print(f"python-can {can.__version__}: {rows} of {frames} frames written, "
      f"{rows / (end - start):,.0f} frames/s (sending alone {frames / (sent - start):,.0f} frames/s)")
os.remove(path)
