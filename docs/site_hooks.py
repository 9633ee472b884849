"""Where pages stand in the site, and where their links to other than pages lead. Called by mkdocs."""

import os
import re
from pathlib import Path

from mkdocs.structure.nav import Link

ROOT = Path(__file__).parent.parent


def on_files(files, config):
    """The pages of docs/ stand at the top; a README keeps its name, so that none is taken for the front page."""
    for file in files.documentation_pages():
        path = re.sub(r"^docs/", "", file.src_uri)
        file.dest_uri = file.url = re.sub(r"\.md$", ".html", path)
        file.abs_dest_path = os.path.join(config.site_dir, file.dest_uri)
    return files


def on_nav(nav, config, files):
    nav.items.append(Link("Reference of the headers", "reference/index.html"))


def on_page_markdown(markdown, page, config, files):
    """A link to a folder leads to its page, one to a header into the reference, which mkdocs doesn't know."""
    here = os.path.dirname(page.file.src_uri)

    def lead(match):
        target = os.path.normpath(os.path.join(here, match[1]))
        if (ROOT / target / "README.md").is_file():
            return f"]({match[1].rstrip('/')}/README.md)"
        if target.startswith("h/") and target.endswith(".h"):
            return f"](reference:{Path(target).stem.replace('_', '__')}_8h.html)"
        return match[0]

    return re.sub(r"\]\(([^)#:\s]+)\)", lead, markdown)


def on_page_content(html, page, config, files):
    up = os.path.relpath(".", os.path.dirname(page.url) or ".")
    return html.replace('href="reference:', f'href="{up}/reference/')
