"""A submission server on loopback ports that stores what it receives, for tests and the demo.

usage: submission_server.py FOLDER [CERTIFICATE KEY]

FOLDER holds "users", one name, tab and password a line. Each accepted message becomes a file of
FOLDER/received, in the order of arrival: the name that logged in, the sender and the recipient, a
line each, then the data as it came. Two lines of output tell the plain port and the one with TLS
from the first byte, 0 without a certificate.
"""

import asyncio
import os
import ssl
import sys
import warnings

from aiosmtpd.smtp import SMTP, AuthResult

folder = sys.argv[1]
received = os.path.join(folder, "received")


class Submission(SMTP):
    # Mail is passed on as it is, so lines may be as long as they like.
    line_length_limit = 1 << 20


def read_users():
    with open(os.path.join(folder, "users"), "rb") as file:
        return dict(line.rstrip(b"\n").split(b"\t", 1) for line in file)


class Store:
    def __init__(self):
        self.count = 0

    async def handle_DATA(self, server, session, envelope):
        self.count += 1
        name = "%06d" % self.count
        head = [session.auth_data, envelope.mail_from.encode(), envelope.rcpt_tos[0].encode()]
        unfinished = os.path.join(folder, name)
        with open(unfinished, "wb") as file:
            file.write(b"".join(line + b"\n" for line in head) + envelope.content)
        os.rename(unfinished, os.path.join(received, name))
        return "250 stored as " + name


async def serve():
    users = read_users()
    store = Store()

    def authenticate(server, session, envelope, mechanism, login):
        right = users.get(login.login) == login.password
        return AuthResult(success=right, handled=False, auth_data=login.login if right else None)

    def session():
        return Submission(
            store,
            hostname="localhost",
            data_size_limit=64 << 20,
            authenticator=authenticate,
            auth_required=True,
            auth_require_tls=False,
            auth_exclude_mechanism=["PLAIN"],
            loop=asyncio.get_running_loop(),
        )

    async def listen(context):
        server = await asyncio.get_running_loop().create_server(
            session, "127.0.0.1", 0, ssl=context, start_serving=True
        )
        print(server.sockets[0].getsockname()[1], flush=True)
        return server

    servers = [await listen(None)]
    if len(sys.argv) > 3:
        context = ssl.create_default_context(ssl.Purpose.CLIENT_AUTH)
        context.load_cert_chain(sys.argv[2], sys.argv[3])
        servers.append(await listen(context))
    else:
        print(0, flush=True)
    await asyncio.gather(*(server.serve_forever() for server in servers))


# It warns that credentials may come in the clear, which is meant.
warnings.simplefilter("ignore")
os.makedirs(received, exist_ok=True)
asyncio.run(serve())
