#!/usr/bin/env python3
"""Measures every row of rows.py and prints the table. Started by bench/run, which builds what it measures.

Everything runs on one processor. A round measures each series once, floors, console and peers in turn, so that whatever
slows the machine for a while slows all of them. A series' figure is the median of its rounds' medians; its p99 is over
the samples of all rounds.
"""

import argparse
import contextlib
import fcntl
import fnmatch
import json
import os
import re
import shutil
import signal
import statistics
import subprocess
import sys
import tempfile
import time

import rows
import subjects

HERE = os.path.dirname(os.path.abspath(__file__))
WORKQUEUE_MASK = "/sys/devices/virtual/workqueue/cpumask"
MILLION = 1_000_000

# How much a round does. Bursts: a kilobyte is what the console keeps of one, 64 bytes what a port hands over at a time.
TRIPS = 200
# A disk is slow for a while and fast again: who waits for it takes turns of a few trips.
DURABLE_TURNS = 5
DURABLE_TRIPS = 10
PIPELINED_LINES = 2000
BURSTS = 8
BURST_BYTES = 1024
BURST_PIECE = 64
IDLE_SECONDS = 5

LINES = {"unknown": ["zzz\r"], "help": ["help Lock\r"], "sta": ["Blink sta\r"], "unchanged": ["Blink on\r"],
         "changed": ["Blink on\r", "Blink off\r"]}


def progress(text):
    print(text, file=sys.stderr, flush=True)


@contextlib.contextmanager
def one_processor():
    """The last processor for this program, its children and, where it is permitted, the kernel's terminal workers."""
    # Another measurement would share the processor, and put back the mask that it found.
    turn = open(os.path.join(tempfile.gettempdir(), "consoleBench.lock"), "w", encoding="ascii")
    fcntl.flock(turn, fcntl.LOCK_EX)
    processor = max(os.sched_getaffinity(0))
    os.sched_setaffinity(0, {processor})
    before = None
    try:
        with open(WORKQUEUE_MASK, "r+", encoding="ascii") as file:
            before = file.read()
            file.seek(0)
            file.write(f"{1 << processor:x}")
    except OSError as error:
        progress(f"the kernel's workers stay where they are ({error.strerror}): terminals are slower and less even")
    try:
        yield
    finally:
        if before is not None:
            with open(WORKQUEUE_MASK, "w", encoding="ascii") as file:
                file.write(before)
        turn.close()


class Bench:
    def __init__(self, binaries, directory, factory_state):
        self.binaries = binaries
        self.directory = directory
        self.factory_state = factory_state
        self.samples = {}  # series: a list of samples for each round
        self.running = []

    # What measures.

    def parts(self, *arguments, fds=(), environment=None):
        command = [f"{self.binaries}/consoleParts", *map(str, arguments)]
        result = subprocess.run(command, pass_fds=fds, env={**os.environ, **(environment or {})}, check=True,
                                stdout=subprocess.PIPE)
        return [int(line) for line in result.stdout.split()]

    def record(self, series, samples):
        self.samples.setdefault(series, []).append(samples)

    def started(self, program):
        self.running.append(program)
        program.stop()
        return program

    @contextlib.contextmanager
    def awake(self, program, series=None, units=1):
        """Lets the program run; its time on the processor, divided by `units`, becomes a sample of `series`."""
        program.go_on()
        before = program.cpu_ns()
        yield
        used = program.cpu_ns() - before
        program.stop()
        if series is not None:
            self.record(series, [used / units])

    def trips(self, series, program, fd, count, lines):
        with self.awake(program, f"{series}.cpu", count + min(20, count // 4)):  # warmUpFor() in samples.c
            self.record(series, self.parts("roundTrips", fd, count, *lines, fds=[fd]))

    def pipeline(self, series, program, fd):
        with self.awake(program):
            duration = self.parts("pipelined", fd, PIPELINED_LINES, LINES["sta"][0], fds=[fd])[0]
        self.record(series, [duration / PIPELINED_LINES])

    # Subjects, started when the first step asks for them.

    def receiver(self, name, role="externalComd", leaves=100):
        directory = os.path.join(self.directory, name)
        return subjects.Receiver(directory, self.binaries, role, self.factory_state, leaves)

    def make_console(self):
        self.console = self.receiver("small")
        copy = os.path.join(self.directory, "copy.db")
        shutil.copy(self.console.settings, copy)
        self.copy = copy
        self.capture_logs()
        self.console.start()
        self.started(self.console.console)

    def make_floors(self):
        self.line_loop = subjects.Terminal()
        self.line_loop_program = self.started(subjects.Program(
            [f"{self.binaries}/consoleParts", "lineLoop", self.line_loop.name, "Blink off\r\n"]))

    def make_update_floor(self):
        # Held open, or the log would go with its last reader.
        self.copy_holder = subjects.sqlite3.connect(self.copy)
        self.copy_holder.execute("PRAGMA journal_mode=WAL").fetchone()
        self.copy_holder.execute("SELECT count(*) FROM leaf").fetchone()
        self.parts("growLog", self.copy)

    def make_big(self):
        self.big = self.receiver("big", leaves=MILLION).start()
        self.started(self.big.console)

    def make_link(self):
        self.link = self.receiver("link", role="internalComd").start()
        self.started(self.link.console)
        self.burst_loop = subjects.Terminal()
        self.burst_loop_program = self.started(subjects.Program(
            [f"{self.binaries}/consoleParts", "burstLoop", self.burst_loop.name], self.link.environment))

    def make_echo(self):
        environment = self.console.bus.environment
        self.echo = self.started(subjects.Program(
            [f"{self.binaries}/consoleParts", "echoService", "bench.Echo"], environment))
        time.sleep(0.3)

    def make_python(self):
        self.python_terminal = subjects.Terminal()
        self.python = self.started(subjects.Program(
            ["/usr/bin/python3", f"{HERE}/peers/readTwice.py", self.python_terminal.name, self.console.settings]))

    def make_redis(self):
        self.redis = subjects.Redis(os.path.join(self.directory, "redis"))
        self.started(self.redis.program)

    def make_ser2net(self):
        self.ser2net = subjects.Ser2net(self.directory)
        self.started(self.ser2net.program)

    # What the console logs for a command, as files of whole commands.

    def capture_logs(self):
        self.logs = {}
        path = os.path.join(self.directory, "log")
        with open(path, "wb") as log:
            receiver = self.console.start(errors=log)
            fd = receiver.terminal.master
            for series, lines in LINES.items():
                self.capture(series, path, lines, "roundTrips", fd, 240, *lines)
            self.capture("pipelined", path, LINES["sta"], "pipelined", fd, PIPELINED_LINES, *LINES["sta"])
        receiver.console.end()

    def capture(self, series, path, lines, *part):
        start = os.path.getsize(path)
        self.parts(*part, fds=[int(part[1])])
        with open(path, "rb") as log:
            log.seek(start)
            passes = log.read().split(b"select success!")
        # From the middle, where the burst is full; a pass begins in the middle of its first line.
        middle = passes[len(passes) * 3 // 5:len(passes) * 4 // 5]
        text = b"select success!".join([b"\x1b[1;31;33m[main][000] ", *middle])
        text = text[:text.rfind(b"\n") + 1]
        commands = sum(text.count(b"] Command=" + line.encode().rstrip(b"\r") + b" ") for line in lines)
        if commands == 0:
            raise RuntimeError(f"no command in the log of {series}")
        file = os.path.join(self.directory, f"log.{series}")
        with open(file, "wb") as out:
            out.write(text)
        self.logs[series] = (file, commands)

    def log_floor(self, series):
        file, commands = self.logs[series]
        self.record(f"{series}.l", self.parts("logLines", file, commands, 20))

    # Single steps.

    def p(self):
        self.trips("p", self.line_loop_program, self.line_loop.master, TRIPS, LINES["sta"])

    def r(self):
        self.record("r", self.parts("storeReads", self.console.settings, TRIPS))

    def u(self):
        self.record("u", self.parts("storeUpdates", self.copy, DURABLE_TRIPS))

    def e(self):
        with self.awake(self.echo):
            self.record("echo", self.parts("calls", TRIPS, "bench.Echo", "/echo", "bench.Echo", "echo", "Blink sta",
                                           environment=self.console.bus.environment))
        self.record("event", self.parts("events", TRIPS, self.console.settings, self.console.status,
                                        environment=self.console.bus.environment))
        self.record("e", [statistics.median(self.samples["echo"][-1]) / 2
                          + statistics.median(self.samples["event"][-1])])

    def command(self, series, receiver, prefix=""):
        count = DURABLE_TRIPS if series == "changed" else TRIPS
        self.trips(prefix + series, receiver.console, receiver.terminal.master, count, LINES[series])

    def python_trips(self):
        self.trips("python", self.python, self.python_terminal.master, TRIPS, LINES["sta"])

    def redis_trips(self):
        values = [f"*3\r\n$3\r\nSET\r\n$15\r\ncontrol.ledMode\r\n${len(word)}\r\n{word}\r\n"
                  for word in ("true", "false")]
        self.trips("redis", self.redis.program, self.redis.client.fileno(), DURABLE_TRIPS, values)

    def durable(self, wanted):
        turns = {"u": self.u, "changed": lambda: self.command("changed", self.console), "redis": self.redis_trips,
                 "big.changed": lambda: self.command("changed", self.big, "big.")}
        turns = {series: turn for series, turn in turns.items() if series in wanted}
        for _ in range(DURABLE_TURNS):
            for turn in turns.values():
                turn()
        for series in turns:
            rounds = self.samples[series]
            rounds[-DURABLE_TURNS:] = [sum(rounds[-DURABLE_TURNS:], [])]

    def pipelines(self):
        self.pipeline("pipelined.bare", self.line_loop_program, self.line_loop.master)
        self.pipeline("pipelined", self.console.console, self.console.terminal.master)
        self.pipeline("pipelined.python", self.python, self.python_terminal.master)
        self.log_floor("pipelined")
        self.record("pipelined.floor", [self.samples["pipelined.bare"][-1][0]
                                        + 2 * statistics.median(self.samples["r"][-1])
                                        + statistics.median(self.samples["pipelined.l"][-1])])

    def burst_rounds(self):
        megabytes = BURSTS * BURST_BYTES / 1e6
        environment = self.link.environment
        fd = self.link.terminal.master
        with self.awake(self.link.console, "burst.cpu", megabytes):
            self.record("burst", self.parts("bursts", fd, BURSTS, BURST_BYTES, BURST_PIECE, fds=[fd],
                                            environment=environment))
        fd = self.burst_loop.master
        with self.awake(self.burst_loop_program, "burst.loop.cpu", megabytes):
            self.record("burst.loop", self.parts("bursts", fd, BURSTS, BURST_BYTES, BURST_PIECE, fds=[fd],
                                                 environment=environment))

    def ser2net_bursts(self):
        fds = [self.ser2net.terminal.master, self.ser2net.client.fileno()]
        with self.awake(self.ser2net.program, "ser2net.cpu", BURSTS * BURST_BYTES / 1e6):
            self.parts("passedThrough", *fds, BURSTS, BURST_BYTES, BURST_PIECE, fds=fds)

    def button(self):
        receiver = self.console
        with self.awake(receiver.console):
            self.record("wpDispBtn", self.parts("calls", TRIPS, "receiver.lpc.lpcExampledNoUse", "/receiver/lpc",
                                                "receiver.Lpc", "wpDispBtn", "Blink sta",
                                                environment=receiver.bus.environment))
        os.set_blocking(receiver.terminal.master, False)
        with contextlib.suppress(BlockingIOError):
            while os.read(receiver.terminal.master, 65536):
                pass
        os.set_blocking(receiver.terminal.master, True)

    def starts(self):
        # The consoles that are measured own their service names on their buses; this one has stores of its own.
        if not hasattr(self, "starting"):
            self.starting = self.receiver("starting")
            self.redis_starting = os.path.join(self.directory, "redisStarting")
            os.makedirs(self.redis_starting)
        terminal = self.starting.terminal
        self.record("start", self.parts(
            "firstReply", terminal.master, "Blink sta\r", "Blink o", f"{self.binaries}/externalComd", terminal.name,
            fds=[terminal.master], environment=self.starting.environment))
        path = os.path.join(self.redis_starting, "socket")
        with contextlib.suppress(FileNotFoundError):
            os.remove(path)
        command = subjects.redis_command(self.redis_starting, path)
        self.record("redis.start", self.parts("firstAnswer", path, "PING\r\n", "+PONG", shutil.which(command[0]),
                                              *command[1:]))

    def memory(self):
        self.record("memory", [self.console.console.private_dirty_kb()])
        self.record("ser2net.memory", [self.ser2net.program.private_dirty_kb()])

    def sizes(self):
        stripped = os.path.join(self.directory, "stripped")
        subprocess.run(["strip", "-o", stripped, os.path.realpath(f"{self.binaries}/externalComd")], check=True)
        self.record("size", [os.path.getsize(stripped) / 1000])
        self.record("ser2net.size", [os.path.getsize(shutil.which("ser2net")) / 1000])

    def idle(self):
        for series, program in (("idle", self.console.console), ("idle.loop", self.line_loop_program)):
            with self.awake(program):
                time.sleep(0.5)
                before, start = program.cpu_ns(), time.monotonic()
                time.sleep(IDLE_SECONDS)
                used, seconds = program.cpu_ns() - before, time.monotonic() - start
                self.record(f"{series}.cpu", [used / seconds])
                self.record(f"{series}.calls", [self.system_calls(program, IDLE_SECONDS) / IDLE_SECONDS])

    def system_calls(self, program, seconds):
        path = os.path.join(self.directory, "strace")
        tracer = subprocess.Popen(["strace", "-f", "-o", path, "-p", str(program.pid)], stderr=subprocess.PIPE)
        tracer.stderr.readline()  # "Process N attached"
        time.sleep(seconds)
        tracer.send_signal(signal.SIGINT)
        tracer.wait()
        with open(path, encoding="ascii", errors="replace") as trace:
            return sum(1 for line in trace if re.match(r"\d+ +[a-z]\w*\(", line))

    def instructions(self):
        counts = (500, 1500)
        read, sta = ([], [])
        for count in counts:
            log = os.path.join(self.directory, "callgrind")
            subprocess.run([*subjects.callgrind(log), f"{self.binaries}/consoleParts", "storeReads", self.console.settings,
                            str(count)], check=True, stdout=subprocess.DEVNULL)
            read.append(subjects.collected(log))
            receiver = subjects.Receiver(os.path.join(self.directory, f"callgrind{count}"), self.binaries,
                                         "externalComd", self.factory_state)
            receiver.start(wrapper=subjects.callgrind(log))
            fd = receiver.terminal.master
            self.parts("roundTrips", fd, count, *LINES["sta"], fds=[fd])
            receiver.console.process.terminate()
            receiver.console.process.wait()
            sta.append(subjects.collected(log))
        for series, totals in (("read.instructions", read), ("sta.instructions", sta)):
            self.record(series, [(totals[1] - totals[0]) / (counts[1] - counts[0])])


# A step: what it needs, the series it gives, what it calls (none: Bench.durable takes it in turns). Subjects come once, in this order.
SUBJECTS = {"console": Bench.make_console, "floors": Bench.make_floors, "update": Bench.make_update_floor,
            "echo": Bench.make_echo, "python": Bench.make_python, "redis": Bench.make_redis,
            "ser2net": Bench.make_ser2net, "link": Bench.make_link, "big": Bench.make_big}


def command_step(series, subject="console", prefix=""):
    receiver = "big" if subject == "big" else "console"
    return ({subject}, {prefix + series, f"{prefix}{series}.cpu"},
            lambda bench: bench.command(series, getattr(bench, receiver), prefix))


def log_step(series):
    return ({"console"}, {f"{series}.l"}, lambda bench: bench.log_floor(series))


EVERY_ROUND = (
    ({"floors"}, {"p"}, Bench.p),
    command_step("unknown"), log_step("unknown"),
    ({"console"}, {"r"}, Bench.r),
    command_step("help"), log_step("help"), command_step("help", "big", "big."),
    command_step("sta"), log_step("sta"), command_step("sta", "big", "big."),
    ({"console", "python"}, {"python", "python.cpu"}, Bench.python_trips),
    ({"console", "echo"}, {"echo", "event", "e"}, Bench.e),
    ({"console"}, {"wpDispBtn"}, Bench.button),
    command_step("unchanged"), log_step("unchanged"),
    ({"console", "update"}, {"u"}, None), ({"console"}, {"changed"}, None), ({"big"}, {"big.changed"}, None),
    ({"redis"}, {"redis"}, None), log_step("changed"),
    ({"console", "floors", "python"}, {"pipelined", "pipelined.floor", "pipelined.python"}, Bench.pipelines),
    ({"link"}, {"burst", "burst.cpu", "burst.loop"}, Bench.burst_rounds),
    ({"ser2net"}, {"ser2net.cpu"}, Bench.ser2net_bursts),
    ({"console"}, {"start", "redis.start"}, Bench.starts),
)

ONCE = (
    ({"console", "ser2net"}, {"memory", "ser2net.memory"}, Bench.memory),
    (set(), {"size", "ser2net.size"}, Bench.sizes),
    ({"console", "floors"}, {"idle.cpu", "idle.calls", "idle.loop.cpu", "idle.loop.calls"}, Bench.idle),
    ({"console"}, {"sta.instructions", "read.instructions"}, Bench.instructions),
)

# Series that a step takes from others.
BEHIND = {"e": {"e"}, "pipelined.floor": {"r"}}


def run(bench, table, rounds):
    wanted = {series for row in table for series in (row.ours, *row.floor)}
    for series in list(wanted):
        wanted |= BEHIND.get(series, set())
    each = [step for step in EVERY_ROUND if step[1] & wanted]
    once = [step for step in ONCE if step[1] & wanted]
    needed = set().union(*(step[0] for step in (*each, *once)))
    for name, make in SUBJECTS.items():
        if name in needed or (name == "console" and needed):
            progress(f"starting: {name}")
            make(bench)
    for number in range(1, rounds + 1):
        if sys.stderr.isatty() or number % 5 == 0 or number == 1:
            progress(f"round {number} of {rounds}")
        for _, _, step in each:
            if step is not None:
                step(bench)
        bench.durable(wanted)
    for _, series, step in once:
        progress(f"measuring: {', '.join(sorted(series))}")
        step(bench)


def median_of(samples):
    return statistics.median(statistics.median(one) for one in samples)


def p99_of(samples):
    everything = sorted(value for one in samples for value in one)
    return everything[min(len(everything) - 1, len(everything) * 99 // 100)]


SCALES = {"us": 1e-3, "ms": 1e-6}


def shown(value, row):
    """A figure as the table shows it; durations are measured in nanoseconds, throughput as the time of a line."""
    if row.unit == "/s" and row.more_is_better:
        return 1e9 / value
    return value * SCALES.get(row.unit, 1)


def evaluate(row, samples):
    ours = p99_of(samples[row.ours]) if row.ours_at == "p99" else median_of(samples[row.ours])
    against = sum(count * median_of(samples[series]) for series, count in row.floor.items())
    ratio = against / ours if row.more_is_better else ours / against
    held = ratio >= row.bar if row.more_is_better else ratio <= row.bar
    # A single figure a round has no p99 worth telling.
    p99 = p99_of(samples[row.ours]) if max(map(len, samples[row.ours])) > 1 else None
    return {"row": row.work, "median": shown(median_of(samples[row.ours]), row),
            "p99": shown(p99, row) if p99 is not None else None, "unit": row.unit, "against": row.against,
            "floor": shown(against, row), "ratio": ratio, "bar": row.bar, "more": row.more_is_better, "held": held}


def table_text(results):
    head = ("row", "median", "p99", "", "against", "", "ratio", "bar", "")
    lines = [head]
    for result in results:
        def figure(value):
            return "" if value is None else f"{value:,.0f}" if abs(value) >= 1000 else f"{value:.1f}"
        lines.append((result["row"], figure(result["median"]), figure(result["p99"]), result["unit"],
                      result["against"], figure(result["floor"]), f"{result['ratio']:.2f}",
                      f"{'>=' if result['more'] else '<='} {result['bar']:.2f}", "held" if result["held"] else "missed"))
    widths = [max(len(line[column]) for line in lines) for column in range(len(head))]
    right = {1, 2, 5, 6}
    return "\n".join("  ".join(cell.rjust(width) if column in right else cell.ljust(width)
                               for column, (cell, width) in enumerate(zip(line, widths))).rstrip() for line in lines)


def parts_text(samples):
    names = {"p": "line loop", "r": "SQLite read", "u": "durable update", "e": "event", "echo": "echo call",
             "sta.l": "log lines of Blink sta"}
    told = [f"{name} ({what}) {median_of(samples[name]) / 1000:.1f} us" for name, what in names.items()
            if name in samples]
    return "floors: " + ", ".join(told) if told else ""


def one_run(binaries, factory_state, table, rounds, stores):
    directory = tempfile.mkdtemp(prefix="consoleBench.", dir=stores)
    bench = Bench(binaries, directory, factory_state)
    try:
        run(bench, table, rounds)
    finally:
        subjects.end_all()
        shutil.rmtree(directory, ignore_errors=True)
    return bench.samples


def middle(results):
    """The run whose ratio is the median of all."""
    return sorted(results, key=lambda result: result["ratio"])[len(results) // 2]


def main():
    parser = argparse.ArgumentParser(prog="bench/run", description="Measures the console against floors and peers.")
    parser.add_argument("--rows", default="*", metavar="PATTERN", help="only rows whose text matches")
    parser.add_argument("--runs", type=int, default=3, metavar="N",
                        help="each row shows the run with the median ratio (default 3)")
    parser.add_argument("--rounds", type=int, default=10, metavar="N", help="of a run (default 10)")
    # Not /tmp: that may be memory, where a durable write costs nothing.
    parser.add_argument("--stores", default="/var/tmp", metavar="DIR",
                        help="a directory on the disk to measure (default /var/tmp)")
    parser.add_argument("--json", metavar="FILE", help="the results, and every series' rounds, as JSON")
    parser.add_argument("--build", required=True, help=argparse.SUPPRESS)
    options = parser.parse_args()
    pattern = options.rows if "*" in options.rows else f"*{options.rows}*"
    table = [row for row in rows.ROWS if fnmatch.fnmatch(row.work, pattern)]
    if not table:
        parser.error(f"no row matches '{options.rows}'")

    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    with open(os.path.join(HERE, "../tools/factoryState.json"), encoding="utf-8") as file:
        state = json.load(file)
    factory_state = {"config": json.dumps(state["settings"]), "status": json.dumps(state["status"])}
    runs = []
    with one_processor():
        for number in range(1, options.runs + 1):
            progress(f"run {number} of {options.runs}")
            runs.append(one_run(os.path.join(os.path.abspath(options.build), "bin"), factory_state, table,
                                options.rounds, options.stores))
    results = [middle([evaluate(row, samples) for samples in runs]) for row in table]
    print(table_text(results))
    print(parts_text(runs[0]))
    if options.json is not None:
        with open(options.json, "w", encoding="utf-8") as file:
            json.dump({"rows": results, "series": runs}, file, indent=1)


if __name__ == "__main__":
    main()
