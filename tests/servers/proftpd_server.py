#!/usr/bin/python3
"""Runs ProFTPD with mod_digest (HASH, XCRC, XMD5, XSHA1, XSHA256) on a free loopback port for Quorvel's tests.

Prints "PORT <n>" and then becomes proftpd (so killing this process stops the server). ProFTPD needs root.
A virtual user (its own password file, never a system account) logs on with --user/--password and lands in
--root, which it may read and write."""
import argparse
import os
import socket
import subprocess
import sys
import tempfile

NOBODY = 65534
# scripts/setup unpacks it here, since its package cannot be installed beside vsftpd's.
PREFIXES = ["/opt/quorvel/proftpd", ""]


def find_proftpd():
    for prefix in PREFIXES:
        if os.access(prefix + "/usr/sbin/proftpd", os.X_OK):
            return prefix
    sys.exit("proftpd_server.py: ProFTPD is not there; run scripts/setup")


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
        sys.exit("proftpd_server.py: proftpd runs as root only")

    prefix = find_proftpd()
    folder = tempfile.mkdtemp(prefix="quorvel-proftpd-")
    hashed = subprocess.run(["openssl", "passwd", "-6", "-stdin"], input=options.password.encode(),
                            capture_output=True, check=True).stdout.decode().strip()
    with open(os.path.join(folder, "passwd"), "w") as handle:
        handle.write("%s:%s:%d:%d::%s:/bin/false\n" % (options.user, hashed, NOBODY, NOBODY, options.root))
    with open(os.path.join(folder, "group"), "w") as handle:
        handle.write("nogroup:x:%d:\n" % NOBODY)
    # ProFTPD reads the password file only when no one else can.
    os.chmod(os.path.join(folder, "passwd"), 0o600)
    os.chmod(folder, 0o755)
    for path, _, files in os.walk(options.root):
        os.chown(path, NOBODY, NOBODY)
        for name in files:
            os.chown(os.path.join(path, name), NOBODY, NOBODY)

    port = free_port()
    lines = [
        "ServerType standalone", "DefaultServer on", "ServerName \"quorvel-test\"",
        "Port %d" % port, "DefaultAddress 127.0.0.1", "SocketBindTight on", "UseIPv6 off",
        "User nobody", "Group nogroup", "MaxInstances 30",
        "PidFile %s/proftpd.pid" % folder, "ScoreboardFile %s/proftpd.scoreboard" % folder,
        "DelayTable none", "WtmpLog off", "UseReverseDNS off", "TransferLog none",
        "SystemLog %s/system.log" % folder,
        "RequireValidShell off", "AuthPAM off", "AuthOrder mod_auth_file.c",
        "AuthUserFile %s/passwd" % folder, "AuthGroupFile %s/group" % folder,
        "DefaultRoot ~", "Umask 022",
        "ModulePath %s/usr/lib/proftpd" % prefix, "LoadModule mod_digest.c",
        "DigestEngine on", "DigestAlgorithms crc32 md5 sha1 sha256",
        "<Directory />", "  AllowOverwrite on", "</Directory>",
    ]
    config = os.path.join(folder, "proftpd.conf")
    with open(config, "w") as handle:
        handle.write("\n".join(lines) + "\n")
    print("PORT %d" % port, flush=True)
    os.execv(prefix + "/usr/sbin/proftpd", ["proftpd", "--nodaemon", "--config", config])


if __name__ == "__main__":
    main()
