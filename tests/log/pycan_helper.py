#!/usr/bin/env python3
"""Reads and writes frame logs with python-can for the log interop test.

    pycan_helper.py write FORMAT FRAMES.txt OUT      frames from the text list into a log
    pycan_helper.py read  FORMAT IN FRAMES.txt       frames of a log into the text list

FORMAT is asc, blf, trc or log (candump). One frame per line of the text list:

    time_ns channel id extended remote fd brs esi error rx length data_hex

channel is 0-based; -1 stands for "no channel". Error frames are listed with
only their time and channel, as the Ostrel log layer keeps them.
"""
import sys

import can
from can.util import channel2int

READERS = {
    "asc": can.ASCReader,
    "blf": can.BLFReader,
    "trc": can.TRCReader,
    "log": can.CanutilsLogReader,
}
WRITERS = {
    "asc": can.ASCWriter,
    "blf": can.BLFWriter,
    "trc": can.TRCWriter,
    "log": can.CanutilsLogWriter,
}


def write(fmt, frames_path, out_path):
    writer = WRITERS[fmt](out_path)
    with open(frames_path) as frames:
        for line in frames:
            f = line.split()
            if not f:
                continue
            length = int(f[10])
            remote = f[4] == "1"
            data = bytes.fromhex(f[11]) if len(f) > 11 else b""
            writer.on_message_received(
                can.Message(
                    timestamp=int(f[0]) / 1e9,
                    channel=int(f[1]),
                    arbitration_id=int(f[2]),
                    is_extended_id=f[3] == "1",
                    is_remote_frame=remote,
                    is_fd=f[5] == "1",
                    bitrate_switch=f[6] == "1",
                    error_state_indicator=f[7] == "1",
                    is_error_frame=f[8] == "1",
                    is_rx=f[9] == "1",
                    dlc=length,
                    data=None if remote else data[:length],
                    check=False,
                )
            )
    writer.stop()


def read(fmt, in_path, frames_path):
    with open(frames_path, "w") as out:
        for msg in READERS[fmt](in_path):
            channel = channel2int(msg.channel)
            if channel is None:
                channel = -1
            elif fmt == "trc":
                # python-can 4.1 writes channel + 1 into a trace file but reads the
                # file's 1-based bus number back unchanged.
                channel -= 1
            ts = round(msg.timestamp * 1e9)
            if msg.is_error_frame:
                out.write(f"{ts} {channel} 0 0 0 0 0 0 1 1 0\n")
                continue
            data = bytes(msg.data or b"")[: msg.dlc]
            out.write(
                f"{ts} {channel} {msg.arbitration_id} {int(msg.is_extended_id)} "
                f"{int(msg.is_remote_frame)} {int(msg.is_fd)} {int(msg.bitrate_switch)} "
                f"{int(msg.error_state_indicator)} 0 {int(msg.is_rx)} {msg.dlc} {data.hex()}\n"
            )


def main():
    if len(sys.argv) != 5 or sys.argv[1] not in ("read", "write") or sys.argv[2] not in READERS:
        sys.exit(__doc__)
    if sys.argv[1] == "write":
        write(sys.argv[2], sys.argv[3], sys.argv[4])
    else:
        read(sys.argv[2], sys.argv[3], sys.argv[4])


if __name__ == "__main__":
    main()
