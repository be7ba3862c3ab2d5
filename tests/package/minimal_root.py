#!/usr/bin/env python3
"""Makes a root folder that has what the given packages depend on, taken from this machine, and nothing else.

Usage: minimal_root.py FOLDER FILE.deb ...

The folder gets the files of the installed packages that the dependencies lead to, and a dpkg database that knows just
these: dpkg then installs the given packages there, or refuses because they ask for something that is not there.
"""

import re
import shutil
import subprocess
import sys
from pathlib import Path


def fields(text):
    return dict(re.findall(r"^([A-Za-z-]+):[ \t]*(.*(?:\n[ \t].*)*)", text, re.M))


def names(dependencies):
    """A list of alternatives, as package names, for each thing depended on."""
    return [[re.match(r"[a-z0-9.+-]+", one.strip())[0] for one in group.split("|")]
            for group in dependencies.split(",") if group.strip()]


root = Path(sys.argv[1])
installed = {}
provided = {}
for stanza in Path("/var/lib/dpkg/status").read_text(encoding="utf-8").split("\n\n"):
    known = fields(stanza)
    if known.get("Status", "").endswith(" installed"):
        installed[known["Package"]] = (stanza, known)
        for (name,) in names(known.get("Provides", "")):
            provided.setdefault(name, known["Package"])

given = [fields(subprocess.run(["dpkg-deb", "-f", file], check=True, stdout=subprocess.PIPE, text=True).stdout)
         for file in sys.argv[2:]]
wanted = [group for package in given for group in names(package.get("Depends", ""))
          if group[0] not in {other["Package"] for other in given}]
wanted += [["dash"], ["libc-bin"]]  # /bin/sh and ldconfig, which every Debian has
taken = {}
while wanted:
    group = wanted.pop()
    found = next((name if name in installed else provided[name] for name in group
                  if name in installed or name in provided), None)
    if found is None:
        sys.exit(f"not installed on this machine: {' | '.join(group)}")
    if found not in taken:
        stanza, known = installed[found]
        taken[found] = stanza
        wanted += names(known.get("Pre-Depends", "")) + names(known.get("Depends", ""))

for folder in ("bin", "sbin", "lib", "lib64"):
    (root / "usr" / folder).mkdir(parents=True)
    (root / folder).symlink_to(f"usr/{folder}")
for folder in ("tmp", "dev", "etc", "var/lib/dpkg/info", "var/lib/dpkg/updates", "var/lib/dpkg/triggers"):
    (root / folder).mkdir(parents=True)
(root / "etc/ld.so.conf").write_text("include /etc/ld.so.conf.d/*.conf\n", encoding="utf-8")
(root / "var/lib/dpkg/status").write_text("\n\n".join(taken.values()) + "\n", encoding="utf-8")

# ldconfig is run by the trigger of its package, as it would be elsewhere.
info = Path("/var/lib/dpkg/info")
for file in ("info/libc-bin.triggers", "info/libc-bin.postinst", "triggers/ldconfig"):
    shutil.copy2(Path("/var/lib/dpkg", file), root / "var/lib/dpkg" / file)
files = []
for name in taken:
    architecture = fields(taken[name])["Architecture"]
    content = next(path for path in (info / f"{name}.list", info / f"{name}:{architecture}.list") if path.exists())
    listed = content.read_text(encoding="utf-8").splitlines()
    (root / "var/lib/dpkg/info" / content.name).write_text("\n".join(listed) + "\n", encoding="utf-8")
    files += [path[1:] for path in listed
              if not path.startswith(("/usr/share/doc/", "/usr/share/man/", "/usr/share/locale/", "/usr/share/zoneinfo/"))
              and "/tests/" not in path]
# Links that the alternatives system made, which no package lists: those to the linear algebra libraries.
links = [str(path)[1:] for folder in (Path("/etc/alternatives"), *Path("/usr/lib").glob("*-linux-*"))
         for path in folder.iterdir() if ".so" in path.name and path.is_symlink()
         and (folder.name == "alternatives" or str(path.readlink()).startswith("/etc/alternatives/"))]
chosen = [path for path in dict.fromkeys(files + links)
          if Path("/", path).is_symlink() or (Path("/", path).exists() and not Path("/", path).is_dir())]
archive = subprocess.Popen(["tar", "-C", "/", "-cf", "-", "--no-recursion", "--null", "-T", "-"],
                           stdin=subprocess.PIPE, stdout=subprocess.PIPE)
extract = subprocess.Popen(["tar", "-C", root, "-xf", "-", "--no-same-owner", "--keep-directory-symlink"], stdin=archive.stdout)
archive.stdin.write("\0".join(chosen).encode())
archive.stdin.close()
if archive.wait() or extract.wait():
    sys.exit("copying failed")
print(f"{len(taken)} packages of this machine: {' '.join(sorted(taken))}")
