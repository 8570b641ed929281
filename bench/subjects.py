"""The programs that are measured, each at what it serves: a terminal, a bus, a store. Between its rounds a program is
stopped, so that only one of them has the processor."""

import ctypes
import os
import re
import select
import signal
import socket
import sqlite3
import subprocess
import termios
import time
import tty

BUS_CONFIGURATION = """<busconfig>
  <type>session</type><listen>unix:path={socket}</listen><auth>EXTERNAL</auth>
  <policy context="default"><allow send_destination="*"/><allow receive_sender="*"/><allow own="*"/></policy>
</busconfig>"""


def wait_for(condition, what, seconds=20):
    deadline = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > deadline:
            raise RuntimeError(f"{what} did not come in {seconds} s")
        time.sleep(0.01)


class Terminal:
    """A pseudo-terminal; both ends stay open, so that nobody's end hangs up the other's."""

    def __init__(self):
        self.master, self.slave = os.openpty()
        tty.setraw(self.slave)
        os.set_inheritable(self.master, True)
        self.name = os.ttyname(self.slave)

    def speed(self):
        return termios.tcgetattr(self.slave)[5]

    def set_speed(self, speed):
        attributes = termios.tcgetattr(self.slave)
        attributes[4] = attributes[5] = speed
        termios.tcsetattr(self.slave, termios.TCSANOW, attributes)


_started = []


def end_all():
    while _started:
        _started.pop().end()


PR_SET_PDEATHSIG = 1
_libc = ctypes.CDLL(None)


def die_with_parent():
    """Also a stopped program is not to outlive a killed measurement."""
    _libc.prctl(PR_SET_PDEATHSIG, signal.SIGKILL)


class Program:
    def __init__(self, command, environment=None, errors=subprocess.DEVNULL):
        self.process = subprocess.Popen(
            command, env={**os.environ, **(environment or {})}, stdin=subprocess.DEVNULL, stdout=errors, stderr=errors,
            preexec_fn=die_with_parent)
        _started.append(self)

    @property
    def pid(self):
        return self.process.pid

    def running(self):
        return self.process.poll() is None

    def cpu_ns(self):
        """Time on the processor, of all its threads, those that have ended included."""
        # The process's CPU clock as clock_getcpuclockid(3) numbers it.
        return time.clock_gettime_ns((~self.pid << 3) | 2)

    def private_dirty_kb(self):
        with open(f"/proc/{self.pid}/smaps_rollup", encoding="ascii") as file:
            return next(int(line.split()[1]) for line in file if line.startswith("Private_Dirty:"))

    def stop(self):
        self.process.send_signal(signal.SIGSTOP)

    def go_on(self):
        self.process.send_signal(signal.SIGCONT)

    def end(self):
        if self.running():
            self.process.kill()
        self.process.wait()


class Bus:
    def __init__(self, directory):
        path = os.path.join(directory, "bus")
        configuration = os.path.join(directory, "bus.conf")
        with open(configuration, "w", encoding="ascii") as file:
            file.write(BUS_CONFIGURATION.format(socket=path))
        self.environment = {"DBUS_SESSION_BUS_ADDRESS": f"unix:path={path}"}
        self.program = Program(["dbus-daemon", "--nofork", "--nopidfile", f"--config-file={configuration}"])
        wait_for(lambda: os.path.exists(path), "the bus")


def fill_store(path, leaves):
    """Adds leaves until there are that many; the engine has made the table."""
    with sqlite3.connect(path) as store:
        there = store.execute("SELECT count(*) FROM leaf").fetchone()[0]
        store.executemany("INSERT INTO leaf VALUES(?, ?)",
                          ((f"bulk.group{i // 100:05}.leaf{i:07}", str(i)) for i in range(leaves - there)))
    store.execute("PRAGMA wal_checkpoint(TRUNCATE)")
    store.close()


SPEED = termios.B115200  # of either role's port in the factory state; what is typed before it is set is lost


class Receiver:
    """Stores, a bus and a console of one role at a terminal."""

    def __init__(self, directory, binaries, role, factory_state, leaves=100):
        os.makedirs(directory)
        self.directory = directory
        self.binaries = binaries
        self.bus = Bus(directory)
        self.environment = {**self.bus.environment, "PLATFORM": f"local:{directory}", "LOG_LEVELS": "4,5"}
        for store in ("config", "status"):
            subprocess.run([f"{binaries}/platformctl", store, "update", factory_state[store]], check=True,
                           env={**os.environ, **self.environment})
        self.settings = os.path.join(directory, "settings.db")
        self.status = os.path.join(directory, "status.db")
        fill_store(self.settings, leaves)
        self.terminal = Terminal()
        self.role = role
        self.console = None

    def start(self, errors=subprocess.DEVNULL, wrapper=()):
        self.terminal.set_speed(termios.B9600)
        self.console = Program([*wrapper, f"{self.binaries}/{self.role}", self.terminal.name], self.environment, errors)
        self.await_port()
        if self.role == "externalComd":
            self.await_answer()
        else:
            time.sleep(0.5)
        return self

    def await_port(self):
        def is_open():
            if not self.console.running():
                raise RuntimeError("the console ended")
            return self.terminal.speed() == SPEED
        wait_for(is_open, "the console's port", 120)

    def await_answer(self):
        """Types one line, whose reply is all that comes: how often it asked is no part of a measurement."""
        os.write(self.terminal.master, b"help Lock\r")
        answer = b""
        while not answer.endswith(b"\n"):
            if not select.select([self.terminal.master], [], [], 120)[0]:
                raise RuntimeError(f"the console does not answer, but: {answer}")
            answer += os.read(self.terminal.master, 65536)


def free_port():
    with socket.socket() as listener:
        listener.bind(("127.0.0.1", 0))
        return listener.getsockname()[1]


class Ser2net:
    def __init__(self, directory):
        self.terminal = Terminal()
        port = free_port()
        configuration = os.path.join(directory, "ser2net.yaml")
        with open(configuration, "w", encoding="ascii") as file:
            file.write("%YAML 1.1\n---\nconnection: &console\n"
                       f"  accepter: tcp,127.0.0.1,{port}\n"
                       f"  connector: serialdev,{self.terminal.name},115200n81,local\n")
        self.program = Program(["ser2net", "-n", "-c", configuration, "-P", os.path.join(directory, "ser2net.pid")])
        self.client = None

        def connected():
            try:
                self.client = socket.create_connection(("127.0.0.1", port))
            except OSError:
                return False
            return True

        wait_for(connected, "ser2net")
        os.set_inheritable(self.client.fileno(), True)
        time.sleep(0.3)


REDIS_OPTIONS = ("--port", "0", "--save", "", "--appendonly", "yes", "--appendfsync", "always",
                 "--auto-aof-rewrite-percentage", "0", "--daemonize", "no")


def redis_command(directory, path):
    return ["redis-server", "--unixsocket", path, "--dir", directory, *REDIS_OPTIONS]


class Redis:
    def __init__(self, directory):
        os.makedirs(directory)
        path = os.path.join(directory, "socket")
        self.program = Program(redis_command(directory, path))
        self.client = socket.socket(socket.AF_UNIX)

        def connected():
            try:
                self.client.connect(path)
            except OSError:
                return False
            return True

        wait_for(connected, "redis-server")
        os.set_inheritable(self.client.fileno(), True)


def callgrind(log):
    return ["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null", f"--log-file={log}"]


def collected(log):
    with open(log, encoding="ascii", errors="replace") as file:
        return int(re.search(r"Collected : (\d+)", file.read()).group(1))
