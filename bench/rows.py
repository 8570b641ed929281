"""The rows of the table: what is measured, against what, and the bar. Series are the names of measure.py."""

from dataclasses import dataclass


@dataclass(frozen=True)
class Row:
    work: str
    ours: str  # a series
    against: str  # as the table shows it
    floor: dict[str, float]  # a sum: series and how many of each
    bar: float
    unit: str = "us"  # us, ms, /s, kB, ...
    ours_at: str = "median"  # or p99
    more_is_better: bool = False


ROWS = (
    Row("unknown line, round trip", "unknown", "p + l", {"p": 1, "unknown.l": 1}, 1.20),
    Row("help Lock", "help", "p + r + l", {"p": 1, "r": 1, "help.l": 1}, 1.25),
    Row("Blink sta, median", "sta", "p + 2r + l", {"p": 1, "r": 2, "sta.l": 1}, 1.25),
    Row("Blink sta, p99", "sta", "p + 2r + l", {"p": 1, "r": 2, "sta.l": 1}, 2.75, ours_at="p99"),
    Row("Blink sta, latency", "sta", "Python script", {"python": 1}, 1.10),
    Row("Blink sta, CPU a command", "sta.cpu", "Python script", {"python.cpu": 1}, 1.00),
    Row("Blink sta, instructions", "sta.instructions", "two SQLite reads", {"read.instructions": 2}, 1.5, unit=""),
    Row("Blink on, unchanged", "unchanged", "p + 3r + e + l", {"p": 1, "r": 3, "e": 1, "unchanged.l": 1}, 1.25),
    Row("Blink on/off, changed", "changed", "p + 2r + u + e + l", {"p": 1, "r": 2, "u": 1, "e": 1, "changed.l": 1},
        1.30),
    Row("Blink on/off, changed", "changed", "redis SET, fsync always", {"redis": 1}, 1.35),
    Row("pipelined Blink sta", "pipelined", "floor", {"pipelined.floor": 1}, 0.55, unit="/s", more_is_better=True),
    Row("pipelined Blink sta", "pipelined", "Python script", {"pipelined.python": 1}, 1.20, unit="/s",
        more_is_better=True),
    Row("burst, latency beyond 30 ms", "burst", "C loop with sd-bus", {"burst.loop": 1}, 1.25),
    Row("burst, CPU a MB", "burst.cpu", "ser2net", {"ser2net.cpu": 1}, 0.90, unit="ms"),
    Row("wpDispBtn call", "wpDispBtn", "D-Bus echo call", {"echo": 1}, 1.40),
    Row("start to first reply", "start", "redis-server", {"redis.start": 1}, 1.20, unit="ms"),
    Row("private dirty memory", "memory", "ser2net", {"ser2net.memory": 1}, 2.0, unit="kB"),
    Row("stripped daemon", "size", "ser2net", {"ser2net.size": 1}, 2.0, unit="kB"),
    Row("idle, system calls a second", "idle.calls", "the bare loop", {"idle.loop.calls": 1}, 1.05, unit="/s"),
    Row("idle, CPU a second", "idle.cpu", "the bare loop", {"idle.loop.cpu": 1}, 1.5),
    Row("1,000,000 leaves, help Lock", "big.help", "100 leaves", {"help": 1}, 1.05),
    Row("1,000,000 leaves, Blink sta", "big.sta", "100 leaves", {"sta": 1}, 1.08),
    Row("1,000,000 leaves, changed", "big.changed", "100 leaves", {"changed": 1}, 1.15),
)
