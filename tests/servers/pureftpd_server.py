#!/usr/bin/python3
"""Runs Pure-FTPd on a free loopback port for Quorvel's tests.

Prints "PORT <n>" and then becomes pure-ftpd (so killing this process stops the server). Pure-FTPd needs root.
A virtual user (its own password database, never a system account) logs on with --user/--password and lands in
--root, which it may read and write."""
import argparse
import os
import socket
import subprocess
import sys
import tempfile

NOBODY = 65534
# scripts/setup unpacks it here, since its package cannot be installed beside vsftpd's.
PREFIXES = ["/opt/quorvel/pure-ftpd", ""]


def find_pureftpd():
    for prefix in PREFIXES:
        if os.access(prefix + "/usr/sbin/pure-ftpd", os.X_OK):
            return prefix
    sys.exit("pureftpd_server.py: Pure-FTPd is not there; run scripts/setup")


def free_port():
    with socket.socket(socket.AF_INET, socket.SOCK_STREAM) as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--root", required=True)
    parser.add_argument("--user", default="quorveltest")
    parser.add_argument("--password", default="secret")
    options = parser.parse_args()
    if os.geteuid() != 0:
        sys.exit("pureftpd_server.py: pure-ftpd runs as root only")

    prefix = find_pureftpd()
    folder = tempfile.mkdtemp(prefix="quorvel-pureftpd-")
    os.chmod(folder, 0o755)
    passwd = os.path.join(folder, "pureftpd.passwd")
    database = os.path.join(folder, "pureftpd.pdb")
    # pure-pw would hash with Argon2 at a cost that makes each log-on take seconds; a SHA-512 crypt hash, which
    # Pure-FTPd reads as well, keeps the tests' many log-ons quick.
    hashed = subprocess.run(["openssl", "passwd", "-6", "-stdin"], input=options.password.encode(),
                            capture_output=True, check=True).stdout.decode().strip()
    with open(passwd, "w") as handle:
        handle.write("%s:%s:%d:%d::%s/./::::::::::::\n" % (options.user, hashed, NOBODY, NOBODY, options.root))
    subprocess.run([prefix + "/usr/bin/pure-pw", "mkdb", database, "-f", passwd], capture_output=True, check=True)
    for path, folders, files in os.walk(options.root):
        os.chown(path, NOBODY, NOBODY)
        for name in files + folders:
            os.chown(os.path.join(path, name), NOBODY, NOBODY, follow_symlinks=False)

    port = free_port()
    print("PORT %d" % port, flush=True)
    # -E: virtual users only; -A: each in its own root; -H: no name look-ups; -u 1: uid 65534 may log on.
    os.execv(prefix + "/usr/sbin/pure-ftpd",
             ["pure-ftpd", "-S", "127.0.0.1,%d" % port, "-l", "puredb:" + database, "-E", "-A", "-H",
              "-u", "1", "-g", os.path.join(folder, "pure-ftpd.pid")])


if __name__ == "__main__":
    main()
