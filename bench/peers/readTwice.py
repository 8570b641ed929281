import os, sqlite3, sys
port = os.open(sys.argv[1], os.O_RDWR | os.O_NOCTTY)
store = sqlite3.connect(sys.argv[2], isolation_level=None)
def read(path):
    return store.execute("SELECT value FROM leaf WHERE path = ?", (path,)).fetchone()[0]
line = b""
while True:
    line += os.read(port, 4096)
    while b"\r" in line:
        command, _, line = line.partition(b"\r")
        broadcast, stored = read("system.broadcast"), read("control.ledMode")
        os.write(port, b"Blink on\r\n" if stored == "true" else b"Blink off\r\n")
