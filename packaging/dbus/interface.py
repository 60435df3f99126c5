#!/usr/bin/env python3
"""Prints the interface description that other services read, with every word:

    build/release/tools/displayctl words --json | packaging/dbus/interface.py >packaging/dbus/zor.signal.Type.xml"""

import json
import sys
from xml.sax.saxutils import escape, quoteattr

HEAD = """<!DOCTYPE node PUBLIC "-//freedesktop//DTD D-BUS Object Introspection 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/introspect.dtd">
<!-- Made from the vocabulary by interface.py. -->
<node>
  <interface name="zor.signal.Type">
    <!-- A display command. The first argument is one of the words below, matched by its beginning and case-sensitively;
         its further arguments follow it. Emitted on the system bus from any path; it is not answered. -->
    <signal name="Display">
      <arg name="word" type="s"/>
"""
TAIL = """    </signal>
  </interface>
</node>
"""


def described(entry):
    arguments = "".join(f" {argument['name']} ({argument['type']})" for argument in entry["arguments"])
    text = f"{entry['word']}{arguments}: {entry['meaning']}"
    return f"      <annotation name=\"zor.signal.Type.Word\" value={quoteattr(escape(text))}/>\n"


def main():
    sys.stdout.write(HEAD + "".join(described(entry) for entry in json.load(sys.stdin)) + TAIL)


if __name__ == "__main__":
    main()
