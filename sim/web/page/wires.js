// SPDX-License-Identifier: Apache-2.0
// The wires between the cards, and transfers that run along them.

import { byId, element } from "./element.js";
import { kindOf } from "./words.js";

const stub = 18; // from a card's left edge to its wire
const above = 9; // from a card's upper edge to the rail
const runTime = 450; // ms
const mostDots = 40;

export class Wires {
  constructor() {
    this.places = new Map();
    this.dots = [];
  }

  // Draws the wires to where the cards are now.
  draw() {
    const area = byId("board");
    const origin = byId("wires").getBoundingClientRect();
    const at = item => {
      const box = item.getBoundingClientRect();
      return { left: box.left - origin.left, top: box.top - origin.top, right: box.right - origin.left, bottom: box.bottom - origin.top };
    };
    this.places.clear();
    const lines = [...area.querySelectorAll(".bus")].map(bus => this.drawBus(bus, at));
    byId("lines").replaceChildren(...lines);
    const buses = byId("buses");
    const size = at(buses);
    byId("wires").setAttribute("width", Math.max(size.right, buses.scrollWidth + size.left));
    byId("wires").setAttribute("height", size.bottom);
  }

  drawBus(bus, at) {
    const label = at(bus.querySelector(":scope > .bus-label"));
    const middle = (label.top + label.bottom) / 2;
    const place = { entry: [label.left, middle], spine: label.right + 10, chips: new Map() };
    let path = `M${label.right} ${middle}H${place.spine}`;
    const mux = bus.parentElement.closest(".node")?.querySelector(":scope > .card");
    if (mux) {
      const card = at(mux);
      const below = label.left < card.right;
      place.from = below ? [card.left + stub, card.bottom] : [card.right, Math.min(card.bottom - 8, (card.top + card.bottom) / 2)];
      const turn = below ? `V${middle}H${label.left}` : `H${(place.from[0] + label.left) / 2}V${middle}H${label.left}`;
      path += `M${place.from.join(" ")}${turn}`;
    }
    for (const node of bus.querySelectorAll(":scope > .row > .node")) {
      const card = at(node.querySelector(":scope > .card"));
      const rail = card.top - above;
      const x = card.left + stub;
      path += `M${place.spine} ${middle}V${rail}H${x}V${card.top}`;
      place.chips.set(node.dataset.chip, [[place.spine, middle], [place.spine, rail], [x, rail], [x, card.top]]);
    }
    this.places.set(bus.dataset.bus, place);
    return element("path", { d: path, class: bus.classList.contains("lit") ? "lit" : "" });
  }

  light() {
    const buses = [...document.querySelectorAll("#board .bus")];
    byId("lines").childNodes.forEach((line, i) => line.classList.toggle("lit", buses[i].classList.contains("lit")));
  }

  // The way of a transfer: "0/mux0.3" leads through bus 0 to mux0, and from there through mux0.3.
  wayOf(record) {
    const segments = (record.path[0] ?? String(record.bus)).split("/");
    const points = [];
    segments.forEach((bus, i) => {
      const place = this.places.get(bus);
      if (!place) return;
      if (place.from) points.push(place.from);
      points.push(place.entry);
      const next = i + 1 < segments.length ? segments[i + 1].replace(/\.\d+$/, "") : record.chips[0];
      points.push(...(place.chips.get(next) ?? [...place.chips.values()].at(-1)?.slice(0, 3) ?? []));
    });
    return points;
  }

  run(record, delay) {
    if (this.dots.length >= mostDots) return;
    const points = this.wayOf(record);
    const kind = kindOf(record);
    const lengths = points.slice(1).map(([x, y], i) => Math.hypot(x - points[i][0], y - points[i][1]));
    const circle = element("circle", { class: kind, cx: -10, cy: -10 });
    byId("dots").append(circle);
    this.dots.push({ circle, points, lengths, begin: performance.now() + delay, kind, chip: record.chips[0] });
  }

  // Moves what runs; `hit(chip, kind)` is called when it arrives.
  move(now, hit) {
    this.dots = this.dots.filter(dot => {
      const part = (now - dot.begin) / runTime;
      if (part < 0) return true;
      if (part >= 1 || !dot.lengths.length) {
        dot.circle.remove();
        hit(dot.chip, dot.kind);
        return false;
      }
      let left = part * dot.lengths.reduce((sum, each) => sum + each, 0);
      let i = 0;
      while (i + 1 < dot.lengths.length && left > dot.lengths[i]) left -= dot.lengths[i++];
      const share = dot.lengths[i] ? left / dot.lengths[i] : 0;
      const [[x0, y0], [x1, y1]] = [dot.points[i], dot.points[i + 1]];
      dot.circle.setAttribute("cx", x0 + (x1 - x0) * share);
      dot.circle.setAttribute("cy", y0 + (y1 - y0) * share);
      return true;
    });
  }
}
