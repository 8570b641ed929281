#!/usr/bin/env python3
"""What the daemon may cost, checked by ./test against figures.json: instructions a command and bytes on disk.

gates.py instructions --daemon DIR --tools DIR [--renew]
gates.py size --daemon DIR

DIR is a `bin` directory: the release daemon's (bench/build makes it), and that of platformctl and consoleParts. Exit
status: 0 within the bar, 1 above it, 77 when there is no figure for this kind of processor.
"""

import argparse
import glob
import json
import os
import platform
import re
import shutil
import subprocess
import sys
import tempfile

import subjects

HERE = os.path.dirname(os.path.abspath(__file__))
FIGURES = os.path.join(HERE, "figures.json")
# Times the committed figure. The thread that answers gives the same count within half a percent; the others (listener,
# checkpoints) are woken when it happens to suit the system, once for one event or once for two.
BARS = {"answering": 1.10, "behind it": 1.30}

# A change, the same again, a change back, and three that change nothing: in turn.
MIX = ["zzz\r", "help Lock\r", "Blink sta\r", "Blink on\r", "Blink on\r", "Blink off\r"]
# Start-up drops out of the difference. Both are whole turns of the mix.
FEWER, MORE = 60, 360


def toolchain():
    """What the figure depends on besides the sources."""
    def first_line(*command):
        return subprocess.run(command, check=True, capture_output=True, text=True).stdout.splitlines()[0]
    libraries = [f"{name} {first_line('pkg-config', '--modversion', name)}"
                 for name in ("sqlite3", "libsystemd", "json-c")]
    return "; ".join([first_line(os.environ.get("CXX", "c++"), "--version"), first_line("ldd", "--version"),
                      first_line("valgrind", "--version"), *libraries])


def count_instructions(daemon, tools, directory, trips):
    """Starts a console on stores of its own under callgrind, types, and gives what each kind of thread executed."""
    with open(os.path.join(HERE, "../tools/factoryState.json"), encoding="utf-8") as file:
        state = json.load(file)
    receiver = subjects.Receiver(os.path.join(directory, str(trips)), tools, "externalComd",
                                 {"config": json.dumps(state["settings"]), "status": json.dumps(state["status"])})
    receiver.binaries = daemon
    profile = os.path.join(directory, f"{trips}.profile")
    receiver.start(wrapper=["valgrind", "--quiet", "--tool=callgrind", "--separate-threads=yes",
                            f"--callgrind-out-file={profile}"])
    fd = receiver.terminal.master
    subprocess.run([f"{tools}/consoleParts", "roundTrips", str(fd), str(trips), *MIX], pass_fds=[fd], check=True,
                   stdout=subprocess.DEVNULL)
    receiver.console.process.terminate()
    receiver.console.process.wait()
    counts = {"answering": 0, "behind it": 0}
    for name in glob.glob(f"{profile}-*"):
        with open(name, encoding="utf-8") as file:
            total = int(re.search(r"^(?:totals|summary): (\d+)", file.read(), re.MULTILINE).group(1))
        counts["answering" if name.endswith("-01") else "behind it"] += total
    return counts


def instructions(options):
    directory = tempfile.mkdtemp(prefix="consoleGate.", dir="/var/tmp")
    try:
        fewer, more = (count_instructions(options.daemon, options.tools, directory, trips) for trips in (FEWER, MORE))
    finally:
        subjects.end_all()
        shutil.rmtree(directory, ignore_errors=True)
    counted = {kind: round((more[kind] - fewer[kind]) / (MORE - FEWER)) for kind in BARS}

    with open(FIGURES, encoding="utf-8") as file:
        figures = json.load(file)
    processor = platform.machine()
    committed = figures["instructionsACommand"].get(processor)
    if options.renew:
        figures["instructionsACommand"][processor] = {**counted, "toolchain": toolchain()}
        with open(FIGURES, "w", encoding="utf-8") as file:
            json.dump(figures, file, indent=2)
            file.write("\n")
    elif committed is None:
        print(f"instructions a command: {counted}; no figure for {processor} to compare with (bench/renewFigure)")
        return 77
    above = False
    for kind, bar in BARS.items():
        told = f"instructions a command, thread {kind}: {counted[kind]}"
        if committed is None:
            print(told)
            continue
        ratio = counted[kind] / committed[kind]
        print(f"{told}; committed {committed[kind]}, ratio {ratio:.3f}, bar {bar:.2f}")
        above = above or ratio > bar
        if kind == "answering" and ratio * bar < 1:
            print("That is much less: bench/renewFigure keeps the gate tight.")
    if options.renew:
        print("written to bench/figures.json")
    if options.renew or not above:
        return 0
    print("A command has become more expensive. If a change of the code did it and it is worth it, write the new figure "
          "with bench/renewFigure and commit it;\nif not, callgrind_annotate of a build before and after shows where.")
    here = toolchain()
    if here != committed["toolchain"]:
        print("It may also be the toolchain: then the same count comes out of the code the figure was made for.\n"
              f"  committed: {committed['toolchain']}\n  here:      {here}")
    return 1


def size(options):
    with open(FIGURES, encoding="utf-8") as file:
        bar = json.load(file)["daemonBytes"]
    daemon = os.path.realpath(os.path.join(options.daemon, "externalComd"))
    bytes_on_disk = os.path.getsize(daemon)
    print(f"the release daemon has {bytes_on_disk} bytes; bar {bar}")
    sections = subprocess.run(["readelf", "--sections", "--wide", daemon], check=True, capture_output=True, text=True)
    if re.search(r"\.symtab\b", sections.stdout):
        print("It is not stripped.")
        return 1
    if bytes_on_disk > bar:
        print("It has grown beyond twice a comparable program (ser2net): `nm -S --size-sort` of a build without -s shows "
              "what is large.")
        return 1
    return 0


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("gate", choices=("instructions", "size"))
    parser.add_argument("--daemon", required=True)
    parser.add_argument("--tools")
    parser.add_argument("--renew", action="store_true")
    options = parser.parse_args()
    return instructions(options) if options.gate == "instructions" else size(options)


if __name__ == "__main__":
    sys.exit(main())
