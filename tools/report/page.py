"""The page: sections with headings, figures, tables and links, put into the template at the end."""
import math
import pathlib
import re
import string
from html import escape

HERE = pathlib.Path(__file__).resolve().parent


def kilobytes(count):
    return f"{count / 1024:.1f}"


def decibels(value):
    return "exact" if math.isinf(value) else f"{value:.2f}"


def milliseconds(value):
    return f"{value:.1f}" if value >= 1 else f"{value:.2f}"


def layout_name(sampling):
    """420 as it is usually written."""
    return ":".join(sampling)


def bar(share, style="own"):
    """A bar of a share of its cell; the number stands beside it in another cell."""
    return f'<span class="bar {style}" style="width:{100 * share:.1f}%"></span>'


class Page:
    """What is written so far, and the folder that the pictures and files go to."""

    def __init__(self, out, tool):
        self.out, self.tool = pathlib.Path(out), tool
        self.body, self.contents, self.files = [], [], []

    def add(self, *parts):
        self.body += parts

    def section(self, title, intro=""):
        self.contents.append((_name(title), title))
        if len(self.contents) > 1:
            self.add("</section>")
        self.add(f'<section id="{_name(title)}"><h2>{escape(title)}</h2>')
        print(title, flush=True)
        if intro:
            self.text(intro)

    def heading(self, title, anchor=""):
        self.add(f'<h3{f""" id="{anchor}" """ if anchor else ""}>{escape(title)}</h3>')

    def text(self, markup):
        self.add(f"<p>{markup}</p>")

    def facts(self, *facts):
        self.add('<p class="facts">' + " &middot; ".join(facts) + "</p>")

    def file(self, name, what):
        """The path of a file to be made in the output folder, which the list of files at the end will name."""
        path = self.out / name
        path.parent.mkdir(parents=True, exist_ok=True)
        self.files.append((name, what))
        return path

    def picture(self, name):
        """The path of a picture to be shown."""
        path = self.out / "pictures" / name
        path.parent.mkdir(parents=True, exist_ok=True)
        return path

    def figure(self, path, alt, caption, style=""):
        """A picture that has been made; the caption is markup, and tells what to see."""
        width, height = self.tool.size(path)
        link = path.relative_to(self.out)
        return (
            f'<figure{f""" class="{style}" """ if style else ""}><div class="frame"><img src="{link}"'
            f' alt="{escape(alt)}" width="{width}" height="{height}"></div><figcaption>{caption}</figcaption></figure>'
        )

    def row(self, figures, style="", attributes=""):
        self.add(f'<div class="row {style}" {attributes}>', *figures, "</div>")

    def table(self, caption, columns, rows, text_columns=1):
        """Columns are titles, rows are lists of markup; all but the first columns are numbers."""
        self.add(self.table_markup(caption, columns, rows, text_columns))

    def table_markup(self, caption, columns, rows, text_columns=1):
        style = lambda i: ' class="text"' if i < text_columns else ""
        head = "".join(f'<th scope="col"{style(i)}>{c}</th>' for i, c in enumerate(columns))
        lines = []
        for row in rows:
            cells = [f'<th scope="row" class="text">{row[0]}</th>']
            cells += [f"<td{style(i)}>{c}</td>" for i, c in enumerate(row[1:], 1)]
            lines.append(f'<tr>{"".join(cells)}</tr>')
        return (
            '<div class="scroll" tabindex="0" role="region"'
            f' aria-label="{escape(caption)}"><table><caption>{escape(caption)}'
            f'</caption><thead><tr>{head}</tr></thead><tbody>{"".join(lines)}</tbody></table></div>'
        )

    def list_files(self):
        rows = []
        for name, what in self.files:
            rows.append([f'<a href="{name}">{name}</a>', what, kilobytes((self.out / name).stat().st_size)])
        self.table("Files made for this page", ["File", "What it is", "Size, KB"], rows, text_columns=2)

    def write(self, facts):
        """The template's texts are `facts`; style and script become part of the page, which then is one document."""
        parts = {
            "style": (HERE / "style.css").read_text(),
            "script": (HERE / "viewer.js").read_text(),
            "contents": "".join(f'<li><a href="#{a}">{escape(t)}</a></li>' for a, t in self.contents),
            "body": "\n".join([*self.body, "</section>"]),
        }
        template = string.Template((HERE / "page.html").read_text())
        (self.out / "report.html").write_text(template.substitute(parts, **facts))


def _name(title):
    return re.sub(r"[^a-z0-9]+", "-", title.lower()).strip("-")
