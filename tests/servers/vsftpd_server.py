#!/usr/bin/python3
"""Runs vsftpd on a free loopback port for Quorvel's interoperability tests, with a generated configuration.

Prints "PORT <n>" and then becomes vsftpd (so killing this process stops the server). vsftpd needs root.
Modes: anonymous (read-only, rooted at --root) and local (a system user logs on with a password and lands
in --root; the user is created if it does not exist)."""
import argparse
import os
import socket
import subprocess
import sys
import tempfile


def free_port():
    with socket.socket(socket.AF_INET, socket.SOCK_STREAM) as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def ensure_user(name, password, home):
    """vsftpd changes to the user's home folder before anything else, so it must exist: it is the root."""
    if subprocess.run(["id", "-u", name], capture_output=True).returncode != 0:
        subprocess.run(["useradd", "--no-create-home", "--shell", "/bin/bash", "--home-dir", home, name], check=True)
    else:
        subprocess.run(["usermod", "--home", home, name], check=True)
    subprocess.run(["chpasswd"], input=("%s:%s\n" % (name, password)).encode(), check=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--root", required=True)
    parser.add_argument("--mode", choices=["anonymous", "local"], default="anonymous")
    parser.add_argument("--user", default="quorveltest")
    parser.add_argument("--password", default="secret")
    parser.add_argument("--writable", action="store_true", help="let the local user upload, rename and delete")
    options = parser.parse_args()
    if os.geteuid() != 0:
        sys.exit("vsftpd_server.py: vsftpd runs as root only")

    port = free_port()
    empty = "/var/run/vsftpd/empty"
    os.makedirs(empty, exist_ok=True)
    lines = [
        "listen=YES", "listen_ipv6=NO", "listen_address=127.0.0.1", "listen_port=%d" % port,
        "background=NO", "seccomp_sandbox=NO", "isolate=NO", "isolate_network=NO",
        "secure_chroot_dir=%s" % empty, "xferlog_enable=NO", "dirmessage_enable=NO",
        "pasv_enable=YES", "pasv_address=127.0.0.1", "port_enable=YES", "connect_from_port_20=NO",
        "use_localtime=YES", "write_enable=%s" % ("YES" if options.writable else "NO"), "local_umask=022",
    ]
    if options.mode == "anonymous":
        lines += ["anonymous_enable=YES", "no_anon_password=YES", "anon_root=%s" % options.root, "local_enable=NO"]
    else:
        ensure_user(options.user, options.password, options.root)
        lines += ["anonymous_enable=NO", "local_enable=YES", "local_root=%s" % options.root,
                  "chroot_local_user=NO", "pam_service_name=vsftpd"]
    folder = tempfile.mkdtemp(prefix="quorvel-vsftpd-")
    config = os.path.join(folder, "vsftpd.conf")
    with open(config, "w") as handle:
        handle.write("\n".join(lines) + "\n")
    print("PORT %d" % port, flush=True)
    os.execv("/usr/sbin/vsftpd", ["vsftpd", config])


if __name__ == "__main__":
    main()
