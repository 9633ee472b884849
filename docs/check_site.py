"""Tells each link of a site that leads nowhere, and each that asks a network: check_site.py FOLDER."""

import sys
from html.parser import HTMLParser
from pathlib import Path
from urllib.parse import unquote, urlsplit


class Page(HTMLParser):
    def __init__(self, path: Path):
        super().__init__()
        self.anchors = {"", "top"}
        self.links = []  # (address, whether the browser fetches it by itself)
        self.feed(path.read_text())

    def handle_starttag(self, tag, attrs):
        values = dict(attrs)
        self.anchors.update(values[name] for name in ("id", "name") if values.get(name))
        for name in ("href", "src"):
            if values.get(name):
                self.links.append((values[name], tag not in ("a", "area")))


def find_faults(folder: Path):
    pages = {path.resolve(): Page(path) for path in folder.rglob("*.html")}
    for path, page in sorted(pages.items()):
        if "reference" in path.parts or path.name == "404.html":
            continue  # made by a program, and for a server
        for link, is_fetched in page.links:
            parts = urlsplit(link)
            if parts.scheme or parts.netloc:
                if is_fetched and parts.scheme != "data":
                    yield f"{path}: {link} is fetched from a network"
                continue
            target = (path.parent / unquote(parts.path)).resolve() if parts.path else path
            if not target.exists():
                yield f"{path}: {link} leads nowhere"
            elif target in pages and unquote(parts.fragment) not in pages[target].anchors:
                yield f"{path}: {link}: there is no such heading"


faults = list(find_faults(Path(sys.argv[1])))
print(*faults, sep="\n", end="\n" if faults else "")
sys.exit(1 if faults else 0)
