#!/usr/bin/python3
"""Runs Pure-FTPd on a free loopback port for Quorvel's tests.

Prints "PORT <n>" and then becomes pure-ftpd (so killing this process stops the server). Pure-FTPd needs root.
A virtual user (its own password database, never a system account) logs on with --user/--password and lands in
--root, which it may read and write."""
import os
import subprocess
import tempfile

from unpacked_server import NOBODY, crypt_hash, find_prefix, free_port, hand_to_nobody, options as parse_options


def main():
    options = parse_options(__doc__)
    prefix = find_prefix("pureftpd_server.py", "pure-ftpd", "pure-ftpd")
    folder = tempfile.mkdtemp(prefix="quorvel-pureftpd-")
    os.chmod(folder, 0o755)
    passwd = os.path.join(folder, "pureftpd.passwd")
    database = os.path.join(folder, "pureftpd.pdb")
    hashed = crypt_hash(options.password)
    with open(passwd, "w") as handle:
        handle.write("%s:%s:%d:%d::%s/./::::::::::::\n" % (options.user, hashed, NOBODY, NOBODY, options.root))
    subprocess.run([prefix + "/usr/bin/pure-pw", "mkdb", database, "-f", passwd], capture_output=True, check=True)
    hand_to_nobody(options.root)

    port = free_port()
    print("PORT %d" % port, flush=True)
    # -E: virtual users only; -A: each in its own root; -H: no name look-ups; -u 1: uid 65534 may log on.
    os.execv(prefix + "/usr/sbin/pure-ftpd",
             ["pure-ftpd", "-S", "127.0.0.1,%d" % port, "-l", "puredb:" + database, "-E", "-A", "-H",
              "-u", "1", "-g", os.path.join(folder, "pure-ftpd.pid")])


if __name__ == "__main__":
    main()
