#!/usr/bin/python3
"""Runs ProFTPD with mod_digest (HASH, XCRC, XMD5, XSHA1, XSHA256) on a free loopback port for Quorvel's tests.

Prints "PORT <n>" and then becomes proftpd (so killing this process stops the server). ProFTPD needs root.
A virtual user (its own password file, never a system account) logs on with --user/--password and lands in
--root, which it may read and write."""
import os
import subprocess
import tempfile

from unpacked_server import NOBODY, crypt_hash, find_prefix, free_port, hand_to_nobody, options as parse_options


def main():
    options = parse_options(__doc__)
    prefix = find_prefix("proftpd_server.py", "proftpd", "proftpd")
    folder = tempfile.mkdtemp(prefix="quorvel-proftpd-")
    hashed = crypt_hash(options.password)
    with open(os.path.join(folder, "passwd"), "w") as handle:
        handle.write("%s:%s:%d:%d::%s:/bin/false\n" % (options.user, hashed, NOBODY, NOBODY, options.root))
    with open(os.path.join(folder, "group"), "w") as handle:
        handle.write("nogroup:x:%d:\n" % NOBODY)
    # ProFTPD reads the password file only when no one else can.
    os.chmod(os.path.join(folder, "passwd"), 0o600)
    os.chmod(folder, 0o755)
    hand_to_nobody(options.root)

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
