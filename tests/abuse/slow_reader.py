"""slow_reader.py PORT COOKIE TARGET RATE SECONDS : a TLS client at the end of a narrow line.

Takes RATE bytes a second for SECONDS, then what is left as fast as it can. Its receive buffer holds no more than a few
packets, so that the server's system notices each of them being taken. Prints a JSON object: "slowly" is the number of
bytes of the reply that came in the slow time, "body" the number of bytes after its head, "sha256" their digest.
"""

import hashlib
import json
import socket
import ssl
import sys
import time

RECEIVE_BUFFER = 4096

port, cookie, target, rate, seconds = sys.argv[1:]

transport = socket.socket()
transport.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, RECEIVE_BUFFER)
transport.connect(("127.0.0.1", int(port)))
context = ssl.create_default_context()
context.check_hostname = False
context.verify_mode = ssl.CERT_NONE
incoming, outgoing = ssl.MemoryBIO(), ssl.MemoryBIO()
tls = context.wrap_bio(incoming, outgoing)


def receive(count):
    """Takes at most so many bytes from the network; false at its end."""
    taken = transport.recv(count)
    incoming.write(taken)
    return len(taken) > 0


def send_all():
    transport.sendall(outgoing.read())


def decrypted():
    """What whole records have come; none after the close alert."""
    pieces = []
    try:
        while piece := tls.read(65536):
            pieces.append(piece)
    except (ssl.SSLWantReadError, ssl.SSLZeroReturnError):
        pass
    return b"".join(pieces)


while True:
    try:
        tls.do_handshake()
        break
    except ssl.SSLWantReadError:
        send_all()
        receive(65536)
tls.write(f"GET {target} HTTP/1.1\r\nHost: x\r\nCookie: {cookie}\r\n\r\n".encode())
send_all()

reply = bytearray()
for _ in range(int(seconds)):
    receive(int(rate))
    reply += decrypted()
    time.sleep(1)
slowly = len(reply)
while receive(65536):
    reply += decrypted()
body = bytes(reply).partition(b"\r\n\r\n")[2]
print(json.dumps({"slowly": slowly, "body": len(body), "sha256": hashlib.sha256(body).hexdigest()}))
