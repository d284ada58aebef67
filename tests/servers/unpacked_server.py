"""What the launchers of the servers that scripts/setup unpacks beside vsftpd (ProFTPD, Pure-FTPd) share: they
run as root, serve a virtual user (uid 65534) from --root on a free loopback port."""
import argparse
import os
import socket
import subprocess
import sys

NOBODY = 65534


def options(description):
    parser = argparse.ArgumentParser(description=description)
    parser.add_argument("--root", required=True)
    parser.add_argument("--user", default="quorveltest")
    parser.add_argument("--password", default="secret")
    return parser.parse_args()


def find_prefix(launcher, package, binary):
    """Where scripts/setup unpacked the package (its installed copy, if any, otherwise)."""
    if os.geteuid() != 0:
        sys.exit("%s: %s runs as root only" % (launcher, binary))
    for prefix in ["/opt/quorvel/" + package, ""]:
        if os.access(prefix + "/usr/sbin/" + binary, os.X_OK):
            return prefix
    sys.exit("%s: %s is not there; run scripts/setup" % (launcher, binary))


def free_port():
    with socket.socket(socket.AF_INET, socket.SOCK_STREAM) as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def hand_to_nobody(root):
    """The virtual user must own what it serves, to replace and delete it."""
    for path, folders, files in os.walk(root):
        os.chown(path, NOBODY, NOBODY)
        for name in files + folders:
            os.chown(os.path.join(path, name), NOBODY, NOBODY, follow_symlinks=False)


def crypt_hash(password):
    """A SHA-512 crypt hash, which both servers read: quick to check, unlike the Argon2 of pure-pw."""
    return subprocess.run(["openssl", "passwd", "-6", "-stdin"], input=password.encode(),
                          capture_output=True, check=True).stdout.decode().strip()
