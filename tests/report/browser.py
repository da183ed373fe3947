#!/usr/bin/env python3
"""browser.py OUT [--make REPORT ZELCODEC IMAGES]: the report as a browser shows it, on a phone and on wide screens.

OUT holds report.html; --make makes it first. Screenshots are written to OUT-screenshots. Exit 77 where there is no
browser.
"""
import argparse
import json
import pathlib
import re
import subprocess
import sys

sys.dont_write_bytecode = True  # nothing is left in the source tree
import webdriver

HERE = pathlib.Path(__file__).resolve().parent
LIMIT = 12_000_000  # bytes of the page with all its files
SCREENS = [(390, 844, "light"), (390, 844, "dark"), (1280, 900, "light"), (1280, 900, "dark"), (1920, 1080, "light")]
RIGHT, END, SPACE, SHIFT = "\ue014", "\ue010", " ", "\ue008"
SECTIONS = ("progressive", "lossless|without-loss", "16-bits", "cmyk", "textures", "tiff", "throughput")

# The first viewer's stages: share of the first picture, what is drawn in front, place of the picture, box in the window.
STAGES = """const viewer = document.querySelector(".viewer:not([hidden])");
viewer.scrollIntoView({block: "center", behavior: "instant"});
return [...viewer.querySelectorAll(".stage")].map(s => { const b = s.getBoundingClientRect(); return {
  now: Number(s.getAttribute("aria-valuenow")), clip: getComputedStyle(s.querySelector(".front")).clipPath,
  place: s.querySelector("img").style.transform, x: b.left, y: b.top, width: b.width, height: b.height}; });"""


def static_faults(out):
    """Size, links and sections, which need no browser."""
    page, wrong = (out / "report.html").read_text(), []
    total = sum(p.stat().st_size for p in out.rglob("*") if p.is_file())
    if total > LIMIT:
        wrong.append(f"{total} bytes in all, more than {LIMIT}")
    for link in re.findall(r'(?:href|src)="([^"#]+)"', page):
        if re.match(r"[a-z]+:|//", link):
            if not link.startswith("data:"):
                wrong.append(f"leads out of the folder: {link}")
        elif not (out / link).is_file():
            wrong.append(f"leads to no file: {link}")
    wrong += [f"no section on {s}" for s in SECTIONS if not re.search(f'<section id="[^"]*({s})', page)]
    return wrong


def viewer_faults(browser, touch):
    wrong = []

    def expect(true, what):
        if not true:
            wrong.append(f"viewer{', touched' if touch else ''}: {what}")

    stages = lambda: browser.run(STAGES)
    first, second = stages()
    expect(first["now"] == 50, "does not begin in the middle")
    middle = lambda s, share=0.5: (s["x"] + share * s["width"], s["y"] + 0.3 * s["height"])
    browser.drag(middle(first), middle(first, 0.75), "touch" if touch else "mouse")
    moved = stages()
    expect(
        all(abs(s["now"] - 75) <= 2 and s["clip"] != first["clip"] for s in moved),
        "the line does not follow the pointer",
    )
    browser.drag(middle(second, 0.3), middle(second, 0.2), "touch" if touch else "mouse")
    expect(stages()[1]["place"] != moved[1]["place"], "the picture at 3:1 does not follow the pointer")
    browser.run('document.querySelector(".stage").focus();')
    before = stages()
    browser.keys(RIGHT, RIGHT)
    expect(stages()[0]["now"] == before[0]["now"] + 4, "arrows do not move the line")
    browser.keys(END)
    expect(stages()[0]["now"] == 100, "End does not move the line")
    browser.keys(SPACE)
    alone = stages()[0]["now"]
    browser.keys(SPACE)
    expect((alone, stages()[0]["now"]) == (0, 100), "space does not switch between the pictures")
    before = stages()
    browser.keys((SHIFT, RIGHT))
    expect(stages()[1]["place"] != before[1]["place"], "arrows with Shift do not move the window")
    return wrong


def without_script(browser, address):
    """The pictures of the rows stand there without JavaScript too, and no empty viewer."""
    browser.devtools("Emulation.setScriptExecutionDisabled", value=True)
    browser.open(address)
    browser.devtools("Emulation.setScriptExecutionDisabled", value=False)
    state = browser.run(
        'return [document.querySelectorAll(".three img").length, document.querySelectorAll(".stage").length, '
        '[...document.querySelectorAll(".viewer")].filter(v => v.offsetHeight).length];'
    )
    return [] if state[0] >= 9 and state[1:] == [0, 0] else [f"without JavaScript: {state}"]


def requests(browser):
    """What pages of files have asked for; the browser's own first page does not count."""
    events = [json.loads(entry["message"])["message"] for entry in browser.log("performance")]
    asked = [e["params"] for e in events if e["method"] == "Network.requestWillBeSent"]
    return [p["request"]["url"] for p in asked if p["documentURL"].startswith("file:")]


def browser_faults(out, shots):
    address, wrong = (out / "report.html").resolve().as_uri(), []
    script = (HERE / "page.js").read_text()
    shots.mkdir(parents=True, exist_ok=True)
    with webdriver.Browser() as browser:
        for width, height, scheme in SCREENS:
            touch = width < 500
            browser.show(width, height, scheme, touch)
            browser.open(address)
            wrong += [f"{width} {scheme}: {fault}" for fault in browser.run(script, width)]
            if not browser.run('return document.querySelector(".viewer:not([hidden])") !== null;'):
                wrong.append(f"{width} {scheme}: no viewer")
                continue
            if scheme == "light":
                wrong += [f"{width}: {fault}" for fault in viewer_faults(browser, touch)]
            for i, (y, tall) in enumerate(
                browser.run(
                    'return [...document.querySelectorAll("header, section")].map(e => { const b = '
                    "e.getBoundingClientRect(); return [b.top + scrollY, b.height]; });"
                )
            ):
                browser.screenshot(shots / f"{width}-{scheme}-{i:02}.png", (0, y, width, min(tall, 12000)))
        wrong += without_script(browser, address)
        wrong += [f"console: {entry['message']}" for entry in browser.log("browser")]
        wrong += [f"asks the network: {url}" for url in requests(browser) if not re.match(r"file:|data:", url)]
    return wrong


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", 1)[0])
    parser.add_argument("out", type=pathlib.Path)
    parser.add_argument("--make", nargs=3, metavar=("REPORT", "ZELCODEC", "IMAGES"))
    given = parser.parse_args()
    if not webdriver.programs():
        print("no chromium, or no chromedriver: skipped")
        sys.exit(77)
    if given.make:
        subprocess.run([sys.executable, *given.make, given.out], check=True)
    wrong = static_faults(given.out)
    wrong += browser_faults(given.out, given.out.with_name(given.out.name + "-screenshots"))
    print("\n".join(wrong) or "nothing wrong")
    sys.exit(bool(wrong))


if __name__ == "__main__":
    main()
