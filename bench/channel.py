#!/usr/bin/env python3
"""channel.py REPORT [--quick]: requests and copies over a channel between two processes. REPORT is JSON as Google
Benchmark writes it. The measures:

channel/copy    a log file of 100 MiB copied from an agent into a file, beside what "openssl s_server" sends "openssl
                s_client" into a file with the same suite and key exchange; whole processes
channel/small   requests of one batch of the tool over a channel, beside the same in process; without the start"""
import contextlib
import json
import os
import pathlib
import signal
import statistics
import subprocess
import sys
import tempfile
import time

BIN = pathlib.Path(__file__).resolve().parent.parent / "build" / "native" / "bin"
SAMPLE = BIN.parent.parent.parent / "labs" / "sample"
MEBIBYTE = 1 << 20
KEY = "00112233445566778899aabbccddeeff00112233445566778899aabbccddeeff"
SUITE = ["-tls1_3", "-ciphersuites", "TLS_AES_128_GCM_SHA256", "-psk", KEY, "-psk_identity", "ours"]


@contextlib.contextmanager
def host(folder, text, *options, rights):
    """A running mfwhost: its address and a ticket for it."""
    config, ticket = folder / f"{rights}.toml", folder / f"{rights}.ticket"
    config.write_text(f'[host]\nlisten = "127.0.0.1:0"\ntickets = "{rights}-tickets"\n{text}')
    command = [BIN / "mfwhost", "--config", config]
    subprocess.run([*command, "ticket", "make", "--rights", rights, ticket], check=True, stdout=subprocess.DEVNULL)
    with subprocess.Popen([*command, "--log", "error", *options], stdout=subprocess.PIPE, text=True) as process:
        yield process.stdout.readline().split()[-1], ticket
        process.send_signal(signal.SIGTERM)


def seconds(command, **how):
    begin = time.monotonic()
    subprocess.run(command, check=True, **how)
    return time.monotonic() - begin


def copy(folder, address, ticket):
    (folder / "copy.log").unlink(missing_ok=True)
    return seconds([BIN / "hdqadmin", "--config", folder / "tool.toml", "copyAgentLog", f"ticket=@{ticket}",
                    f"ipAddress={address}", "filename=big.log", "localFilename=copy.log"], cwd=folder,
                   stdout=subprocess.DEVNULL)


def peer_copy(folder, port):
    with open(folder / "peer.log", "wb") as out:
        return seconds(["openssl", "s_client", "-connect", f"127.0.0.1:{port}", *SUITE, "-quiet", "-ign_eof"],
                       input=b"GET /big.log HTTP/1.0\r\n\r\n", stdout=out, stderr=subprocess.DEVNULL)


@contextlib.contextmanager
def peer_server(folder, port):
    command = ["openssl", "s_server", "-accept", str(port), "-nocert", *SUITE, "-WWW", "-quiet"]
    with subprocess.Popen(command, cwd=folder, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL) as process:
        time.sleep(0.5)
        yield
        process.kill()


def copies(folder, size, repetitions):
    (folder / "logs").mkdir()
    (folder / "logs" / "big.log").write_bytes(os.urandom(MEBIBYTE) * size)
    (folder / "big.log").hardlink_to(folder / "logs" / "big.log")
    (folder / "tool.toml").write_text("[startup]\nInitiateDomainChecks = false\n")
    port = 20000 + os.getpid() % 20000
    ours, peer = [], []
    with host(folder, '[files]\nlogs = ["logs"]\n', "--agent", rights="agent") as (address, ticket), \
            peer_server(folder, port):
        for _ in range(repetitions):
            ours.append(copy(folder, address, ticket))
            peer.append(peer_copy(folder, port))
    whole = (folder / "big.log").read_bytes()
    if (folder / "copy.log").read_bytes() != whole or not (folder / "peer.log").read_bytes().endswith(whole):
        sys.exit("a copy is not whole")
    return statistics.median(ours), statistics.median(peer)


def small(folder, count):
    """Seconds of so many small requests, over a channel and in process, less those of one."""
    line = '{"operation": "getAppdataLocation"}\n'
    for name, lines in (("one", 1), ("many", count)):
        (folder / name).write_text(line * lines)
    with host(folder, f'lab = "{SAMPLE}"\n', rights="read") as (address, ticket):
        options = {"channel": ["--connect", address, "--ticket", ticket], "peer": ["--lab", SAMPLE]}
        return {side: seconds([BIN / "hdqadmin", *how, "--json", "--batch", folder / "many"], stdout=subprocess.DEVNULL)
                - seconds([BIN / "hdqadmin", *how, "--json", "--batch", folder / "one"], stdout=subprocess.DEVNULL)
                for side, how in options.items()}


def row(name, needed, **counters):
    return {"name": name, "run_name": name, "run_type": "iteration", "repetitions": 1, "real_time": needed,
            "time_unit": "s", **counters}


def main():
    quick = sys.argv[2:] == ["--quick"]
    count = 200 if quick else 5000
    with tempfile.TemporaryDirectory() as name:
        ours, peer = copies(pathlib.Path(name), 4 if quick else 100, 1 if quick else 5)
        requests = small(pathlib.Path(name), count)
    print(f"{count / requests['channel']:.0f} small requests a second")
    rows = [row("channel/copy", ours), row("peer/copy", peer), row("channel/small", requests["channel"] / count),
            row("peer/small", requests["peer"] / count)]
    pathlib.Path(sys.argv[1]).write_text(json.dumps({"benchmarks": rows}))


main()
