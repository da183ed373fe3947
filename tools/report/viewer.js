// The viewers: two pictures in one place, wiped or flickering, at 1:1 and 3:1. Without this script the rows of pictures
// below say the same. All moves go through a viewer's state and render().
"use strict";

class Viewer {
  constructor(root, pairs) {
    this.pairs = pairs;
    this.cut = 0.5;     // the share of a stage, from its left, that shows the first picture
    this.shown = null;  // null: wiped; else 0 or 1, the picture that is shown alone
    this.timer = 0;
    const [x, y, width, height] = root.dataset.detail.split(" ").map(Number);
    this.centre = [x + width / 2, y + height / 2];  // of the window at 3:1, in pixels of the picture
    this.build(root);
    this.choose(0);
    root.hidden = false;
    new ResizeObserver(() => this.render()).observe(root);
    this.render();
  }

  build(root) {
    const select = make("select", {}, this.pairs.map((pair, i) => make("option", {value: i, textContent: pair.name})));
    select.addEventListener("change", () => this.choose(Number(select.value)));
    this.swap = make("button", {type: "button", textContent: "Switch"});
    this.swap.addEventListener("click", () => {
      this.stop();
      this.flip();
    });
    this.flicker = make("button", {type: "button", textContent: "Flicker"});
    this.flicker.addEventListener("click", () => this.timer ? this.wipe(this.cut) : this.start());
    const label = make("label", {}, [make("span", {textContent: root.dataset.title + ":"}), select]);
    this.stages = [1, 3].map(zoom => new Stage(this, zoom, root.dataset.title));
    root.append(
        make("div", {className: "controls"}, [label, this.swap, this.flicker]),
        make("div", {className: "stages"}, this.stages.map(s => s.box)), make("p", {
          className: "hint",
          textContent: "Drag the line, or click where it is to be; drag beside it to move a picture " +
              "that is larger than its window. Keys: arrows move the line, Home and End put it at a border, " +
              "space switches between " +
              "both pictures, arrows with Shift move the window at 3:1."
        }));
    this.root = root;
  }

  choose(index) {
    this.pair = this.pairs[index];
    this.stages.forEach(stage => stage.load(this.pair));
    this.render();
  }

  // How far a picture may be moved: its window at 3:1 stays inside.
  moveTo(x, y) {
    const [width, height] = this.pair.size, half = this.stages[1].seen().map(n => n / 2);
    this.centre = [clamp(x, half[0], width - half[0]), clamp(y, half[1], height - half[1])];
    this.render();
  }

  wipe(cut) {
    this.stop();
    this.shown = null;
    this.cut = clamp(cut, 0, 1);
    this.render();
  }

  flip() {
    this.shown = this.shown === null ? 1 : 1 - this.shown;
    this.render();
  }

  start() {
    this.flip();
    this.timer = setInterval(() => this.flip(), 700);
    this.render();
  }

  stop() {
    clearInterval(this.timer);
    this.timer = 0;
    this.render();
  }

  render() {
    this.flicker.setAttribute("aria-pressed", String(Boolean(this.timer)));
    this.root.classList.toggle("flicker", this.shown !== null);
    this.stages.forEach(stage => stage.render());
  }

  key(event) {
    const step = event.shiftKey ? 8 : 0.02;
    const arrow = {ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1]}[event.key];
    if (event.ctrlKey || event.altKey || event.metaKey) return;
    if (arrow && event.shiftKey)
      this.moveTo(this.centre[0] + step * arrow[0], this.centre[1] + step * arrow[1]);
    else if (arrow && arrow[0])
      this.wipe(this.cut + step * arrow[0]);
    else if (event.key === "Home")
      this.wipe(0);
    else if (event.key === "End")
      this.wipe(1);
    else if (event.key === " ") {
      this.stop();
      this.flip();
    } else
      return;
    event.preventDefault();
  }
}

// One window on the pair of pictures. At 3:1 it may be moved; at 1:1 too, where the page is narrower than the picture.
class Stage {
  constructor(viewer, zoom, title) {
    this.viewer = viewer;
    this.zoom = zoom;
    this.images = [0, 1].map(() => make("img", {alt: "", draggable: false}));
    this.chips = ["left", "right"].map(side => make("span", {className: "chip " + side}));
    this.window = make("div", {className: "window"});
    this.stage = make("div", {className: "stage", tabIndex: 0}, [
      make("div", {className: "layer"}, [this.images[1]]), make("div", {className: "layer front"}, [this.images[0]]),
      make("div", {className: "handle"}), ...this.chips, ...(zoom === 1 ? [this.window] : [])
    ]);
    const roles = {
      role: "slider",
      "aria-label": `${title} at ${zoom}:1, share of the first picture`,
      "aria-valuemin": 0,
      "aria-valuemax": 100
    };
    Object.entries(roles).forEach(([name, value]) => this.stage.setAttribute(name, value));
    const name = zoom === 1 ? "1:1, with the window of 3:1" : "3:1";
    this.box = make("div", {}, [make("div", {className: "stage-title", textContent: name}), this.stage]);
    this.stage.addEventListener("keydown", event => viewer.key(event));
    this.listen();
  }

  load(pair) {
    this.images.forEach((image, i) => {
      image.src = pair.sources[i];
      image.alt = pair.names[i];
      [image.width, image.height] = pair.size;
    });
    this.chips.forEach((chip, i) => {
      chip.textContent = pair.names[i];
    });
  }

  // The part of the picture that the stage shows, in the picture's pixels.
  seen() {
    const size = this.viewer.pair.size;
    return [
      Math.min(size[0], this.stage.clientWidth / this.zoom), Math.min(size[1], this.stage.clientHeight / this.zoom)
    ];
  }

  // Its corner: around the centre of the window, but not beyond the picture.
  corner() {
    const size = this.viewer.pair.size;
    return this.seen().map((seen, i) => Math.round(clamp(this.viewer.centre[i] - seen / 2, 0, size[i] - seen)));
  }

  render() {
    const {cut, shown, pair} = this.viewer, [x, y] = this.corner();
    const share = shown === null ? cut : 1 - shown;
    for (const image of this.images)
      image.style.transform = `translate(${- x * this.zoom}px, ${- y * this.zoom}px) scale(${this.zoom})`;
    this.stage.style.setProperty("--cut", 100 * share + "%");
    this.stage.setAttribute("aria-valuenow", Math.round(100 * share));
    this.stage.setAttribute(
        "aria-valuetext", shown === null ? `${pair.names[0]} ${Math.round(100 * share)} %` : pair.names[shown]);
    this.chips.forEach((chip, i) => {
      chip.hidden = shown === null ? (i ? cut > 0.8 : cut < 0.2) : shown !== i;
    });
    if (this.zoom > 1) return;
    const detail = this.viewer.stages[1], [left, top] = detail.corner(), [width, height] = detail.seen();
    Object.assign(
        this.window.style, {left: left - x + "px", top: top - y + "px", width: width + "px", height: height + "px"});
  }

  // A pointer near the line takes the line. Beside it, it moves the picture where there is more of it than is seen; a
  // click that moves nothing brings the line there.
  listen() {
    let from = null;
    const cutAt = event => (event.clientX - this.stage.getBoundingClientRect().left) / this.stage.clientWidth;
    const larger = () => this.seen().some((seen, i) => seen < this.viewer.pair.size[i] - 1);
    this.stage.addEventListener("pointerdown", event => {
      if (event.button) return;
      this.stage.setPointerCapture(event.pointerId);
      const near = this.viewer.shown === null && Math.abs(cutAt(event) - this.viewer.cut) * this.stage.clientWidth < 24;
      from = {x: event.clientX, y: event.clientY, centre: this.viewer.centre, moves: larger() && !near, moved: false};
      if (!from.moves) this.viewer.wipe(cutAt(event));
    });
    this.stage.addEventListener("pointermove", event => {
      if (!from) return;
      if (!from.moves) return this.viewer.wipe(cutAt(event));
      const dx = event.clientX - from.x, dy = event.clientY - from.y;
      from.moved = from.moved || Math.hypot(dx, dy) > 5;
      if (from.moved) this.viewer.moveTo(from.centre[0] - dx / this.zoom, from.centre[1] - dy / this.zoom);
    });
    this.stage.addEventListener("pointerup", event => {
      if (from && from.moves && !from.moved) this.viewer.wipe(cutAt(event));
      from = null;
    });
    this.stage.addEventListener("pointercancel", () => {
      from = null;
    });
  }
}

function clamp(value, low, high) { return low > high ? (low + high) / 2 : Math.min(high, Math.max(low, value)); }

function make(name, properties, children = []) {
  const element = Object.assign(document.createElement(name), properties);
  element.append(...children);
  return element;
}

// The pairs of a viewer: the first two pictures of the rows below it, up to the next viewer, and both formats at equal
// size.
function pairsOf(root) {
  const pairs = [];
  const add = (name, first, second, names) => pairs.push({
    name,
    names,
    sources: [first.src, second.src],
    size: ["width", "height"].map(n => Number(first.getAttribute(n)))
  });
  for (let e = root.nextElementSibling; e && !e.classList.contains("viewer"); e = e.nextElementSibling) {
    if (!e.dataset.pair) continue;
    const [original, decoded] = e.querySelectorAll("img");
    add("original and " + e.dataset.pair, original, decoded, ["Original", e.dataset.pair]);
  }
  const equal = document.querySelector(`[data-equal="${root.dataset.title}"]`);
  if (equal) {
    const [original, jpeg, wavelets] = equal.querySelectorAll("img");
    add("original and JPEG 2000 of equal size", original, wavelets, ["Original", "JPEG 2000"]);
    add("JPEG and JPEG 2000 of equal size", jpeg, wavelets, ["JPEG", "JPEG 2000"]);
  }
  return pairs;
}

for (const root of document.querySelectorAll(".viewer")) new Viewer(root, pairsOf(root));
