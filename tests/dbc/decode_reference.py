#!/usr/bin/python3
"""Decodes frames with canmatrix, as an independent check of Ostrel's decoder.

usage: decode_reference.py DATABASE.dbc FRAMES.txt

FRAMES.txt holds one frame per line: identifier in hexadecimal, 1 for an
extended frame or 0, then the data bytes in hexadecimal (no blanks). One line
is written per decoded signal, fields separated by tabs:
frame number (from 0), message, signal, raw value, physical value, value
description (empty when none). Raw values are written as integers for integer
signals, physical values with repr() of a float.
"""
import sys

import canmatrix.formats


def main():
    db = canmatrix.formats.loadp_flat(sys.argv[1])
    by_id = {(f.arbitration_id.id, bool(f.arbitration_id.extended)): f for f in db.frames}
    out = []
    with open(sys.argv[2]) as frames:
        for number, line in enumerate(frames):
            fields = line.split()
            if len(fields) < 2:
                continue
            key = (int(fields[0], 16), fields[1] == "1")
            data = bytes.fromhex(fields[2]) if len(fields) > 2 else b""
            frame = by_id.get(key)
            if frame is None:
                continue
            for name, decoded in frame.decode(data).items():
                signal = decoded.signal
                raw = decoded.raw_value
                if signal.is_float:
                    raw_text = repr(float(raw))
                    description = ""
                else:
                    raw_text = str(int(raw))
                    # VAL_ keys are raw values (canmatrix's own named_value
                    # compares them with the physical value instead).
                    description = signal.values.get(int(raw), "")
                physical = float(decoded.phys_value)
                out.append("\t".join([str(number), frame.name, name, raw_text, repr(physical), description]))
    sys.stdout.write("\n".join(out) + ("\n" if out else ""))


if __name__ == "__main__":
    main()
