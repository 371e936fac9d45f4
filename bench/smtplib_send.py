"""Sends a message over TLS with Python's smtplib whenever a line arrives on standard input.

usage: smtplib_send.py PORT USER PASSWORD SENDER RECIPIENT MESSAGE_FILE

Each message has a connection of its own. A line of output tells the milliseconds that it took.
"""

import smtplib
import ssl
import sys
import time

port, user, password, sender, recipient, file = sys.argv[1:]
context = ssl.create_default_context()
message = open(file, "rb").read()

for _ in sys.stdin:
    started = time.perf_counter()
    with smtplib.SMTP_SSL("localhost", int(port), "localhost", context=context) as server:
        server.login(user, password)
        server.sendmail(sender, [recipient], message)
    print((time.perf_counter() - started) * 1e3, flush=True)
