#!/usr/bin/env python3
"""Holds the includes of every source against the layering of the tree: a folder includes itself and what it is allowed
to, and only platform/os includes system headers below host/."""

import re
import subprocess
import sys

EVERYWHERE = {"util", "imo", "platform/os"}
ALLOWED = {
    "modules/streams/k2r": EVERYWHERE | {"packaging", "fragmentation", "server", "shared_nqserver", "wrappers", "fileset"},
    "fileset": EVERYWHERE,
    "packaging": EVERYWHERE | {"fragmentation", "server", "wrappers"},
    "fragmentation": EVERYWHERE | {"server", "wrappers"},
    "server": EVERYWHERE | {"shared_nqserver"},
    "wrappers": EVERYWHERE | {"platform/container", "platform/encryption", "platform/tagstream"},
    "shared_nqserver": EVERYWHERE,
    "platform/container": EVERYWHERE | {"platform/container/reading"},
    "platform/container/reading": EVERYWHERE,
    "platform/encryption": EVERYWHERE,
    "platform/tagstream": EVERYWHERE,
    "util": EVERYWHERE | {"platform/heap"},
    "platform/os": set(),
    "platform/heap": set(),
    "imo": set(),
    "examples": {"imo"},
}
# The host includes anything but the module, which it loads as any host does, and the insides of the libraries under
# platform/: of these it has the faces, so that they can be replaced without a change of the host.
HOST_FORBIDDEN = re.compile(r"^modules/|^platform/(?!os/|container/reading/|[a-z]+/krvo_\w+\.h$)")
INCLUDE = re.compile(r'^\s*#\s*include\s*(?:"([^"]+)"|<([^>]+)>)', re.MULTILINE)
SYSTEM = re.compile(r"^(sys/|linux/|arpa/|netinet/|unistd|fcntl|pthread|dlfcn|poll|signal\.h|errno\.h)")


def layer(path):
    path = path.removeprefix("include/")
    for name in sorted(ALLOWED, key=len, reverse=True):
        if path.startswith(name + "/"):
            return name
    return path.split("/")[0]


def faults(path):
    own = layer(path)
    with open(path, encoding="utf-8") as source:
        text = source.read()
    for ours, system in INCLUDE.findall(text):
        if ours and own == "host" and HOST_FORBIDDEN.match(ours):
            yield f"{path}: the host includes {ours}"
        if ours and own in ALLOWED and layer(ours) != own and layer(ours) not in ALLOWED[own]:
            yield f"{path}: {own} may not include {ours}"
        if system and own in ALLOWED and own not in ("platform/os", "examples") and SYSTEM.match(system):
            yield f"{path}: only platform/os includes system headers, not {system}"


def main():
    files = subprocess.run(["git", "ls-files", "*.h", "*.cpp"], check=True, capture_output=True, text=True).stdout
    found = [fault for path in files.split() for fault in faults(path)]
    print("\n".join(found) if found else "includes: all go down")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
