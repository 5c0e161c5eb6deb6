#!/usr/bin/python3
"""Has tshark, tcpdump and scapy read frames that the library built.

    frames.py PROGRAM FOLDER [--frames N] [--seed N]

PROGRAM is verify-random-frames, which writes frames and what Wireshark is to read in them. It is run
for a slice of the frames at a time, two slices at once. Each reader reads every frame. Compared are
the fields of tshark that PROGRAM names, all of the text that tcpdump prints, and all fields of scapy's
STP, which begins behind the LLC header. A slice that is read otherwise stays in FOLDER.
"""

import argparse
import multiprocessing
import subprocess
import sys
from pathlib import Path

from scapy.layers.l2 import STP

SLICE = 25_000
READERS = ("tshark", "tcpdump", "scapy")
TIMES = ("stp.msg_age", "stp.max_age", "stp.hello", "stp.forward")
ROLES = ("Unknown", "Alternate", "Root", "Designated")
FLAGS = (
    ("tc", "Topology change"),
    ("proposal", "Proposal"),
    ("learning", "Learn"),
    ("forwarding", "Forward"),
    ("agreement", "Agreement"),
    ("tcack", "Topology change ACK"),
)


class Unlike(Exception):
    """A frame is read otherwise."""


def compare(reader, number, read, expected):
    """Compares what was read of a frame, item by item, and the number of items."""
    if read == expected:
        return
    unlike = [f"{one!r} instead of {other!r}" for one, other in zip(read, expected) if one != other]
    raise Unlike("\n".join([f"{reader}, frame {number + 1} of the slice:", *unlike]))


def lines_of(command):
    """The lines that a command prints, which has to end well."""
    with subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True) as process:
        for line in process.stdout:
            yield line.rstrip("\n")
    if process.returncode != 0:
        raise Unlike(f"{command[0]} exited with {process.returncode}")


def expectations(place):
    """The fields' names, and an iterator over the texts of each frame, as lists."""
    lines = place.open()
    names = next(lines).rstrip("\n").split(";")
    return names, (line.rstrip("\n").split(";") for line in lines)


def in_units(seconds):
    """A time that tshark shows, in 1/256 s."""
    return str(round(float(seconds) * 256))


def read_by_tshark(capture, expected):
    names, frames = expectations(expected)
    command = ["tshark", "-n", "-r", str(capture), "-T", "fields", "-E", "separator=;"]
    for name in names:
        command += ["-e", name]
    times = [names.index(name) for name in TIMES]
    read = 0
    for number, line in enumerate(lines_of(command)):
        texts = line.split(";")
        for time in times:
            texts[time] = in_units(texts[time])
        compare("tshark", number, [*zip(names, texts)], [*zip(names, next(frames))])
        read += 1
    return read


def bridge(frame, which):
    """A bridge's identifier, as numbers: what its priority and extension are together, and its address."""
    return int(frame[f"stp.{which}.prio"]) + int(frame[f"stp.{which}.ext"]), frame[f"stp.{which}.hw"]


def printed_by_tcpdump(frame):
    """What tcpdump prints of a frame."""
    flags = ", ".join(text for name, text in FLAGS if frame[f"stp.flags.{name}"] == "1") or "none"
    age, max_age, hello, delay = (f"{int(frame[name]) / 256:.2f}s" for name in TIMES)
    bridge_id, root_id = ("%04x.%s" % bridge(frame, which) for which in ("bridge", "root"))
    return (
        f"{frame['eth.src']} > {frame['eth.dst']}, 802.3, length {frame['eth.len']}: LLC, dsap STP (0x42) Individual, "
        f"ssap STP (0x42) Command, ctrl 0x03: STP 802.1w, Rapid STP, Flags [{flags}], "
        f"bridge-id {bridge_id}.{frame['stp.port'][2:]}, length 36",
        f"\tmessage-age {age}, max-age {max_age}, hello-time {hello}, forwarding-delay {delay}",
        f"\troot-id {root_id}, root-pathcost {frame['stp.root.cost']}, "
        f"port-role {ROLES[int(frame['stp.flags.port_role'])]}",
    )


def read_by_tcpdump(capture, expected):
    names, frames = expectations(expected)
    user = subprocess.run(["id", "-un"], stdout=subprocess.PIPE, text=True, check=True).stdout.strip()
    lines = lines_of(["tcpdump", "-n", "-t", "-e", "-vvv", "-Z", user, "-r", str(capture)])
    read = 0
    for number, line in enumerate(lines):
        printed = (line, next(lines, ""), next(lines, ""))
        compare("tcpdump", number, printed, printed_by_tcpdump(dict(zip(names, next(frames)))))
        read += 1
    return read


def frames_of(capture):
    """The octets of each frame of a capture of the classic format."""
    octets = capture.read_bytes()
    at = 24
    while at < len(octets):
        size = int.from_bytes(octets[at + 8 : at + 12], sys.byteorder)
        yield octets[at + 16 : at + 16 + size]
        at += 16 + size


def scapy_fields(frame):
    """The fields of scapy's STP, and what follows them."""
    root, bridge_id = bridge(frame, "root"), bridge(frame, "bridge")
    return (
        *(int(frame[name], 0) for name in ("stp.protocol", "stp.version", "stp.type", "stp.flags")),
        *root,
        int(frame["stp.root.cost"]),
        *bridge_id,
        int(frame["stp.port"], 0),
        *(int(frame[name]) / 256 for name in TIMES),
        bytes([int(frame["stp.version_1_length"])]),
    )


def read_by_scapy(capture, expected):
    names, frames = expectations(expected)
    fields = [field.name for field in STP.fields_desc]
    read = 0
    for number, octets in enumerate(frames_of(capture)):
        stp = STP(octets[17:])
        values = (*(stp.getfieldval(name) for name in fields), bytes(stp.payload))
        compare("scapy", number, values, scapy_fields(dict(zip(names, next(frames)))))
        read += 1
    return read


def read_slice(work):
    """Returns how many frames each reader read, and what is wrong, if anything is."""
    program, folder, number, count, seed = work
    capture, expected = folder / f"frames-{number}.pcap", folder / f"frames-{number}.txt"
    subprocess.run([program, str(count), str(seed + number), str(capture), str(expected)], check=True)
    read = []
    for reader in (read_by_tshark, read_by_tcpdump, read_by_scapy):
        try:
            read.append(reader(capture, expected))
        except (Unlike, StopIteration) as wrong:
            return read, f"{capture}, {reader.__name__}: {wrong or 'more frames than were written'}"
        if read[-1] != count:
            return read, f"{capture}, {reader.__name__}: {read[-1]} of {count} frames"
    capture.unlink()
    expected.unlink()
    return read, None


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("program", type=Path)
    parser.add_argument("folder", type=Path)
    parser.add_argument("--frames", type=int, default=1_000_000)
    parser.add_argument("--seed", type=int, default=20_261_122)
    options = parser.parse_args()
    if options.frames < 1:
        parser.error("at least one frame")
    if options.seed < 0:
        parser.error("a seed is not negative")
    works = [
        (options.program, options.folder, number, min(SLICE, options.frames - begin), options.seed)
        for number, begin in enumerate(range(0, options.frames, SLICE))
    ]
    totals = [0, 0, 0]
    with multiprocessing.Pool(2) as pool:
        for read, wrong in pool.imap(read_slice, works):
            if wrong:
                sys.exit(f"frames: with seed {options.seed}: {wrong}")
            totals = [total + frames for total, frames in zip(totals, read)]
    print(f"seed: {options.seed}")
    readers = ", ".join(f"{total:,} by {reader}" for total, reader in zip(totals, READERS))
    print(f"figure: random frames read alike: {readers}")


if __name__ == "__main__":
    main()
