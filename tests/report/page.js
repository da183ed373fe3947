// What is wrong with the page as it stands in the window now: a list of sentences. Run by browser.py with the width of
// the screen, as a telephone widens its window to whatever the page takes.
const wrong = [];
const name = e => e.tagName.toLowerCase() + (e.id ? "#" + e.id : "") +
    (e.className && e.className.baseVal === undefined ? "." + e.className : "") + " " +
    (e.textContent || e.getAttribute("src") || "").trim().slice(0, 40);
const width = arguments[0];
if (document.scrollingElement.scrollWidth > width)
  wrong.push("the page scrolls sideways: " + document.scrollingElement.scrollWidth);

// An element beyond the window is fine only where an ancestor that is itself inside cuts it or scrolls it.
const contained = e => {
  for (let a = e.parentElement; a && a !== document.body; a = a.parentElement)
    if (getComputedStyle(a).overflowX !== "visible") return a.getBoundingClientRect().right <= width + 0.5;
  return false;
};
for (const e of document.body.querySelectorAll("*:not(.skip)")) {
  const box = e.getBoundingClientRect();
  if (box.width && (box.right > width + 0.5 || box.left < -0.5) && !contained(e))
    wrong.push("beyond the window: " + name(e));
}

for (const image of document.images) {
  if (!image.complete || !image.naturalWidth) wrong.push("does not load: " + image.getAttribute("src"));
  if (!image.alt) wrong.push("has no text in place of it: " + image.getAttribute("src"));
}

const rectangle = e => {
  const b = e.getBoundingClientRect();
  return [b.left, b.top, b.right, b.bottom];
};
const overlap = (a, b) => a[0] < b[2] - 0.5 && b[0] < a[2] - 0.5 && a[1] < b[3] - 0.5 && b[1] < a[3] - 0.5;
const charts = [...document.querySelectorAll("svg")];
if (!charts.length) wrong.push("there is no chart");
for (const svg of charts) {
  const whole = rectangle(svg), texts = [...svg.querySelectorAll("text")], title = svg.getAttribute("aria-label");
  const within = (inner, outer) =>
      inner[0] >= outer[0] - 1 && inner[1] >= outer[1] - 1 && inner[2] <= outer[2] + 1 && inner[3] <= outer[3] + 1;
  texts.forEach((t, i) => {
    if (!within(rectangle(t), whole)) wrong.push(`${title}: the label ${t.textContent} leaves the chart`);
    texts.slice(i + 1)
        .filter(u => overlap(rectangle(t), rectangle(u)))
        .forEach(u => wrong.push(`${title}: ${t.textContent} and ${u.textContent} overlap`));
  });
  const [left, top, right, bottom] = svg.dataset.plot.split(" ").map(Number);
  for (const curve of svg.querySelectorAll(".curve")) {
    const b = curve.getBBox();
    if (!within([b.x, b.y, b.x + b.width, b.y + b.height], [left, top, right, bottom]))
      wrong.push(`${title}: a curve leaves its axes`);
    // Points along the curve, against the boxes of all labels.
    for (let at = 0; at < curve.getTotalLength(); at += 2) {
      const p = curve.getPointAtLength(at);
      const hit = texts.find(t => {
        const r = t.getBBox();
        return p.x > r.x && p.x < r.x + r.width && p.y > r.y && p.y < r.y + r.height;
      });
      if (hit) {
        wrong.push(`${title}: a curve runs through ${hit.textContent}`);
        break;
      }
    }
  }
}

// In a wide window the pictures of a row stand side by side and use its width.
if (width >= 1280)
  for (const row of document.querySelectorAll(".three")) {
    const boxes = [...row.children].map(rectangle);
    if (boxes.length !== 3 || boxes.some(b => Math.abs(b[1] - boxes[0][1]) > 1))
      wrong.push("not three side by side: " + name(row));
    else if (boxes[2][2] - boxes[0][0] < 0.9 * row.parentElement.clientWidth)
      wrong.push("the width is not used: " + name(row));
  }

for (const link of document.querySelectorAll("a[href^=\"#\"]"))
  if (!document.getElementById(link.getAttribute("href").slice(1)))
    wrong.push("leads nowhere: " + link.getAttribute("href"));
return wrong;
