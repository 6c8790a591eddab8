"""Certificates for servers on loopback."""

import subprocess

ELLIPTIC = ("ec", "-pkeyopt", "ec_paramgen_curve:prime256v1")
RSA = ("rsa:2048",)


def make_certificate(folder, kind=ELLIPTIC, name="localhost", others="DNS:localhost,IP:127.0.0.1"):
    """An authority and a server's certificate; returns the authority's file."""
    def openssl(*arguments):
        subprocess.run(["openssl", *arguments], check=True, capture_output=True, cwd=folder)
    key = ["-newkey", *kind, "-nodes"]
    openssl("req", "-x509", *key, "-keyout", "ca.key", "-out", "ca.crt", "-days", "2",
            "-subj", "/CN=Test authority")
    openssl("req", "-utf8", *key, "-keyout", "server.key", "-out", "server.csr", "-subj", f"/CN={name}")
    (folder / "names").write_text(f"subjectAltName={others}" if others else "")
    openssl("x509", "-req", "-in", "server.csr", "-CA", "ca.crt", "-CAkey", "ca.key",
            "-CAcreateserial", "-days", "2", "-extfile", "names", "-out", "server.crt")
    return str(folder / "ca.crt")
