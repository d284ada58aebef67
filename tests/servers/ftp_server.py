#!/usr/bin/python3
"""A pyftpdlib FTP server on a free loopback port for Quorvel's tests.

Prints "PORT <n>" (and, with TLS, "PIN sha256//<base64>" of its certificate's public key) on standard output,
then serves until killed. Fault modes let a test make the server misbehave on purpose."""
import argparse
import base64
import hashlib
import os
import shutil
import sys
import tempfile
import time
import zlib

from pyftpdlib.authorizers import DummyAuthorizer
from pyftpdlib.handlers import BufferedIteratorProducer, FTPHandler, ThrottledDTPHandler, TLS_DTPHandler, TLS_FTPHandler
from pyftpdlib.servers import FTPServer


def make_certificate(folder):
    """A self-signed certificate for 127.0.0.1, made fresh for each run; returns its path and key pin."""
    from OpenSSL import crypto

    key = crypto.PKey()
    key.generate_key(crypto.TYPE_RSA, 2048)
    cert = crypto.X509()
    cert.get_subject().CN = "127.0.0.1"
    cert.set_serial_number(int(time.time()))
    cert.gmtime_adj_notBefore(-60)
    cert.gmtime_adj_notAfter(24 * 3600)
    cert.set_issuer(cert.get_subject())
    cert.set_pubkey(key)
    cert.add_extensions([crypto.X509Extension(b"subjectAltName", False, b"IP:127.0.0.1")])
    cert.sign(key, "sha256")
    path = os.path.join(folder, "server.pem")
    with open(path, "wb") as handle:
        handle.write(crypto.dump_privatekey(crypto.FILETYPE_PEM, key))
        handle.write(crypto.dump_certificate(crypto.FILETYPE_PEM, cert))
    spki = crypto.dump_publickey(crypto.FILETYPE_ASN1, key)
    return path, "sha256//" + base64.b64encode(hashlib.sha256(spki).digest()).decode()


class ReadableWhileAcceptingDTP(TLS_DTPHandler):
    """pyftpdlib 1.5.7 closes a TLS data connection whose handshake has not finished when it is first polled;
    a data connection that is still accepting must stay readable (fixed upstream after 1.5.7)."""

    def readable(self):
        return self._ssl_accepting or super().readable()


HASHES = {"SHA-256": "sha256", "SHA-1": "sha1", "MD5": "md5", "CRC32": None}


def fault_mixin(options):
    """Behaviour shared by the plain and the TLS handler: counting, refusing, delaying, canned listings."""

    refusals = {}
    for item in options.refuse or []:
        command, _, reply = item.partition(":")
        name, _, argument = command.strip().partition(" ")
        refusals[(name.upper(), argument)] = reply
    delays = {}
    for item in options.delay or []:
        command, _, seconds = item.partition(":")
        delays[command.upper()] = float(seconds)
    canned = None
    if options.canned_list:
        with open(options.canned_list, "rb") as handle:
            canned = handle.read()

    class Faults:
        dropped = False

        def handle(self):
            self.commands_seen = 0
            if options.greeting_delay:
                time.sleep(options.greeting_delay)
            if options.implicit_tls:
                self._prot = True
                self._pbsz = True
                self.secure_connection(self.ssl_context)
            super().handle()

        def pre_process_command(self, line, cmd, arg):
            self.commands_seen += 1
            if options.drop_after and self.commands_seen > options.drop_after and not (options.drop_once and Faults.dropped):
                Faults.dropped = True
                self.close()
                return
            if cmd in delays:
                time.sleep(delays[cmd])
            for (name, argument), reply in refusals.items():
                if cmd == name and (not argument or arg == argument or arg.endswith("/" + argument)):
                    self.respond(reply)
                    return
            if cmd == "LIST":
                self.list_all = arg.strip() == "-a"
                if self.list_all:
                    arg = ""
            super().pre_process_command(line, cmd, arg)

        def handle_timeout(self):
            if options.silent_idle_close:
                # As a restarted server's connections end: no reply, just gone.
                self.close()
                return
            super().handle_timeout()

        def ftp_SITE_CPFR(self, path):
            source = self.fs.ftp2fs(path)
            if not os.path.exists(source):
                self.respond("550 No such file or directory.")
                return
            self.copy_from = source
            self.respond("350 File or directory exists, ready for destination name.")

        def ftp_SITE_CPTO(self, path):
            source = getattr(self, "copy_from", None)
            self.copy_from = None
            if source is None:
                self.respond("503 Bad sequence of commands.")
                return
            target = self.fs.ftp2fs(path)
            if os.path.isdir(source):
                shutil.copytree(source, target, dirs_exist_ok=True)
            else:
                shutil.copyfile(source, target)
            self.respond("250 Copy successful.")

        checksum_feats = []

        def ftp_FEAT(self, line):
            self._extra_feats = [feat for feat in self._extra_feats if feat not in self.checksum_feats]
            self._extra_feats += self.checksum_feats
            return super().ftp_FEAT(line)

        def ftp_OPTS(self, line):
            name, _, algorithm = line.partition(" ")
            if name.upper() != "HASH" or "HASH" not in self.proto_cmds:
                return super().ftp_OPTS(line)
            if algorithm.upper() not in HASHES or algorithm.upper() not in options.hash_algorithms.split(";"):
                self.respond("501 Unknown algorithm.")
                return
            self.hash_algorithm = algorithm.upper()
            self.respond("200 " + self.hash_algorithm)

        def checksum_of(self, path, algorithm):
            if not self.fs.isfile(path):
                self.respond("550 No such file.")
                return None
            with open(path, "rb") as handle:
                data = handle.read()
            if algorithm == "CRC32":
                return data, "%08x" % zlib.crc32(data)
            return data, hashlib.new(HASHES[algorithm], data).hexdigest()

        def ftp_HASH(self, path):
            algorithm = getattr(self, "hash_algorithm", options.hash_algorithms.split(";")[0])
            result = self.checksum_of(path, algorithm)
            if result:
                data, digest = result
                self.respond("213 %s 0-%d %s %s" % (algorithm, len(data), digest, os.path.basename(path)))

        def ftp_XCRC(self, path):
            result = self.checksum_of(path, "CRC32")
            if result:
                self.respond("250 " + result[1].upper())

        def ftp_LIST(self, path):
            if canned is not None:
                self.push_dtp_data(canned, isproducer=False, cmd="LIST")
                return path
            if options.msdos_listing:
                return self.list_msdos(path)
            if not options.hide_dot_files:
                return super().ftp_LIST(path)
            # As vsftpd, ProFTPD and Pure-FTPd do: names beginning with a dot only for "LIST -a".
            show_all = getattr(self, "list_all", False)
            listing = [name for name in self.run_as_current_user(self.fs.listdir, path)
                       if show_all or not name.startswith(".")]
            producer = BufferedIteratorProducer(self.fs.format_list(path, listing))
            self.push_dtp_data(producer, isproducer=True, cmd="LIST")
            return path

        def list_msdos(self, path):
            """The listing of the FTP server built into Windows: date, 12-hour time, <DIR> or a size with
            thousands separators, name."""
            lines = []
            for name in sorted(self.run_as_current_user(self.fs.listdir, path)):
                status = os.stat(os.path.join(path, name))
                stamp = time.strftime("%m-%d-%y  %I:%M%p", time.localtime(status.st_mtime))
                if os.path.isdir(os.path.join(path, name)):
                    lines.append("%s       <DIR>          %s" % (stamp, name))
                else:
                    lines.append("%s %20s %s" % (stamp, "{:,}".format(status.st_size), name))
            data = "".join(line + "\r\n" for line in lines).encode("utf8", "surrogateescape")
            self.push_dtp_data(data, isproducer=False, cmd="LIST")
            return path

        def ftp_PORT(self, line):
            if options.rogue_active:
                self.send_rogue(line.split(","))
            return super().ftp_PORT(line)

        def ftp_EPRT(self, line):
            if options.rogue_active:
                parts = line.split(line[0])
                self.send_rogue(parts[2].split(".") + [str(int(parts[3]) // 256), str(int(parts[3]) % 256)])
            return super().ftp_EPRT(line)

        def send_rogue(self, fields):
            """A stranger on another address reaches the client's data port before the server does."""
            import socket
            port = int(fields[4]) * 256 + int(fields[5])
            try:
                rogue = socket.create_connection((".".join(fields[:4]), port), timeout=2,
                                                 source_address=("127.0.0.2", 0))
                rogue.sendall(b"-rw-r--r-- 1 u g 5 Jan 5 2020 ROGUE_INJECTED.txt\r\n")
                rogue.close()
            except OSError:
                pass

    return Faults


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--root", required=True)
    parser.add_argument("--user", default="tester")
    parser.add_argument("--password", default="secret")
    parser.add_argument("--anonymous", action="store_true", help="also let anonymous users in")
    parser.add_argument("--drop-after", type=int, default=0,
                        help="close each control connection, unanswered, when its command N+1 arrives")
    parser.add_argument("--drop-once", action="store_true", help="--drop-after hits the first connection only")
    parser.add_argument("--idle-timeout", type=float, default=0, help="say 421 and close an idle connection")
    parser.add_argument("--silent-idle-close", action="store_true", help="close an idle connection without a word")
    parser.add_argument("--delay", action="append", help="CMD:SECONDS before answering CMD")
    parser.add_argument("--greeting-delay", type=float, default=0, help="seconds before the 220 greeting")
    parser.add_argument("--refuse", action="append",
                        help="CMD:REPLY answers CMD with REPLY; \"CMD NAME:REPLY\" only when its argument is NAME")
    parser.add_argument("--canned-list", help="a file whose bytes every LIST returns")
    parser.add_argument("--tls", choices=["explicit", "implicit"])
    parser.add_argument("--site-copy", action="store_true", help="copy on the server with SITE CPFR and CPTO")
    parser.add_argument("--checksums", default="", help="offer these of HASH,XCRC for the files' checksums")
    parser.add_argument("--hash-algorithms", default="SHA-256;SHA-1;MD5;CRC32",
                        help="what HASH offers, the first being its default")
    parser.add_argument("--throttle", type=int, default=0, help="bytes a second each data connection may move")
    parser.add_argument("--msdos-listing", action="store_true", help="LIST answers in the MS-DOS layout")
    parser.add_argument("--encoding", help="read commands and write listings in this code page (latin-1 ...)")
    parser.add_argument("--no-mlsd", action="store_true", help="offer no MLST or MLSD, as vsftpd does")
    parser.add_argument("--hide-dot-files", action="store_true", help="list names beginning with a dot for LIST -a only")
    parser.add_argument("--rogue-active", action="store_true",
                        help="a stranger from 127.0.0.2 connects to each active-mode data port first")
    parser.add_argument("--banner", help="the greeting's text; pyftpdlib sends one longer than 75 characters "
                                         "as a reply of several lines")
    options = parser.parse_args()
    options.implicit_tls = options.tls == "implicit"

    authorizer = DummyAuthorizer()
    authorizer.add_user(options.user, options.password, options.root, perm="elradfmwMT")
    if options.anonymous:
        authorizer.add_anonymous(options.root)

    pin = None
    base = FTPHandler
    if options.tls:
        folder = tempfile.mkdtemp(prefix="quorvel-ftp-cert-")
        certfile, pin = make_certificate(folder)
        base = TLS_FTPHandler
    handler = type("TestHandler", (fault_mixin(options), base), {})
    handler.authorizer = authorizer
    if options.site_copy:
        commands = dict(base.proto_cmds)
        for name in ("SITE CPFR", "SITE CPTO"):
            commands[name] = dict(perm=None, auth=True, arg=True, help="Syntax: %s <SP> path" % name)
        handler.proto_cmds = commands
    offered = [name for name in options.checksums.split(",") if name]
    if offered:
        commands = dict(handler.proto_cmds)
        for name in offered:
            commands[name] = dict(perm="r", auth=True, arg=True, help="Syntax: %s <SP> path" % name)
        handler.proto_cmds = commands
        features = []
        if "HASH" in offered:
            algorithms = options.hash_algorithms.split(";")
            features.append("HASH " + ";".join([algorithms[0] + "*"] + algorithms[1:]))
        features += [name for name in offered if name != "HASH"]
        handler.checksum_feats = features
    if options.no_mlsd or options.canned_list or options.msdos_listing or options.hide_dot_files:
        # Modes that change what LIST says stand for servers that list with LIST alone.
        handler.proto_cmds = {name: value for name, value in handler.proto_cmds.items()
                              if name not in ("MLSD", "MLST")}
    handler.passive_ports = None
    # Names are bytes on a Unix server: those that are not UTF-8 travel as they are, as real servers send them.
    handler.unicode_errors = "surrogateescape"
    if options.encoding:
        # As Twisted's server by default: commands are read, and listings written, in a code page, while the
        # disk keeps UTF-8.
        handler.encoding = options.encoding
    if options.banner:
        handler.banner = options.banner.replace("\\r\\n", "\r\n")
    if options.idle_timeout:
        handler.timeout = options.idle_timeout
    handler.permit_foreign_addresses = False
    if options.tls:
        handler.certfile = certfile
        handler.dtp_handler = ReadableWhileAcceptingDTP
        handler.tls_data_required = options.implicit_tls

    if options.throttle and not options.tls:
        throttled = type("ThrottledDTP", (ThrottledDTPHandler,), {})
        throttled.read_limit = options.throttle
        throttled.write_limit = options.throttle
        handler.dtp_handler = throttled

    server = FTPServer(("127.0.0.1", 0), handler)
    print("PORT %d" % server.address[1], flush=True)
    if pin:
        print("PIN %s" % pin, flush=True)
    sys.stdout.flush()
    # A short poll timeout lets timers (the idle time-out) fire while no socket is active.
    server.serve_forever(timeout=0.2, handle_exit=True)


if __name__ == "__main__":
    main()
