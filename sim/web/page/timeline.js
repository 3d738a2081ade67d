// SPDX-License-Identifier: Apache-2.0
// Transfers over time, a lane for each chip and for each program, and curves of readings over the same axis.

import { byId, element } from "./element.js";
import { decode } from "./decode.js";
import { kindOf, lineOf, valueOf } from "./words.js";

const mostRecords = 20000;
const keptSeconds = 600;
const labels = 96; // width of the lanes' names
const axis = 16; // height of the times
const listed = 40;
const zoomStep = 1.6;
const shortest = 0.001;
const near = 6; // pixels from the pointer to a transfer
const curvesShare = 0.32;
const curveColors = ["#1a78c2", "#c2571a", "#2f9e44", "#9c36b5", "#b8860b", "#0b8f8f"];

export class Timeline {
  constructor() {
    this.canvas = byId("timeline");
    this.records = [];
    this.curves = new Map();
    this.shown = new Set();
    this.span = 20;
    this.end = null; // null: now
    this.selected = null;
    this.words = [];
    this.listen();
    new ResizeObserver(() => { this.stale = true; }).observe(this.canvas);
  }

  // A new board, or the same after a pause in the connection.
  begin(board) {
    this.board = board;
    this.records = [];
    this.curves.clear();
    this.shown.clear();
    this.selected = null;
    this.makeChoices();
    this.sample(board.chips, board.uptime_seconds);
    this.stale = true;
  }

  add(records) {
    for (const record of records) record.line = lineOf(record);
    this.records = this.records.concat(records).slice(-mostRecords);
    this.stale = this.listStale = true;
  }

  // Remembers the readings of chips at a time.
  sample(chips, time) {
    for (const [chip, { readings }] of Object.entries(chips)) {
      for (const reading of readings.filter(each => "number" in each)) {
        const key = `${chip}.${reading.name}`;
        if (!this.curves.has(key)) this.curves.set(key, { unit: reading.unit, points: [] });
        const { points } = this.curves.get(key);
        points.push([time, reading.number]);
        while (points.length > 2 && points[1][0] < time - keptSeconds) points.shift();
        this.curves.get(key).text = valueOf(reading);
      }
    }
    this.stale = true;
  }

  makeChoices() {
    const keys = Object.entries(this.board.chips).flatMap(([chip, { readings }]) =>
      readings.filter(each => "number" in each).map(each => `${chip}.${each.name}`));
    for (const key of keys) if (/\.(input-power|temperature)$/.test(key) && this.shown.size < curveColors.length) this.shown.add(key);
    byId("curves").querySelector(".choices").replaceChildren(...keys.map(key => {
      const box = element("input", { type: "checkbox", checked: this.shown.has(key) });
      box.onchange = () => { this.shown[box.checked ? "add" : "delete"](key); this.stale = true; };
      return element("label", {}, box, ` ${key}`);
    }));
  }

  setNow(now) {
    if (this.now !== now && this.end === null) this.stale = true;
    this.now = now;
  }

  get right() { return this.end ?? this.now ?? 0; }

  // The records that the filter leaves: all its words are in the line, or name how the transfer went.
  get matching() {
    if (!this.words.length) return this.records;
    return this.records.filter(record => this.words.every(word =>
      record.line.toLowerCase().includes(word) || (word === "failed" && kindOf(record) === "bad")));
  }

  lanesOf(records) {
    const chips = Object.keys(this.board.chips).filter(chip => records.some(record => record.chips.includes(chip)));
    if (records.some(record => !record.chips.length)) chips.push("?");
    const programs = [...new Set(records.map(record => record.process))].sort();
    return [...chips.map(name => ({ name, holds: record => (record.chips.length ? record.chips.includes(name) : name === "?") })),
      ...programs.map(name => ({ name, program: true, holds: record => record.process === name }))];
  }

  draw() {
    if (this.listStale && byId("list").open) this.drawList();
    if (!this.stale || !this.board) return;
    this.stale = false;
    const scale = devicePixelRatio || 1;
    const { clientWidth: width, clientHeight: height } = this.canvas;
    this.canvas.width = width * scale;
    this.canvas.height = height * scale;
    const on = this.canvas.getContext("2d");
    on.scale(scale, scale);
    on.font = "11px system-ui, sans-serif";
    on.textBaseline = "middle";
    const style = getComputedStyle(document.documentElement);
    this.color = name => style.getPropertyValue(`--${name}`);
    this.width = width;
    const curves = this.shown.size ? (height - axis) * curvesShare : 0;
    this.drawLanes(on, height - axis - curves);
    if (curves) this.drawCurves(on, height - axis - curves, curves);
    this.drawAxis(on, height);
    const times = this.span >= 1 ? `${this.span.toFixed(0)} s` : `${(this.span * 1000).toPrecision(3)} ms`;
    byId("span").textContent = `${times}, ${this.records.length} transfers`;
    byId("live").setAttribute("aria-pressed", this.end === null);
  }

  xOf(time) { return labels + (this.width - labels) * (1 - (this.right - time) / this.span); }

  timeAt(x) { return this.right - this.span * (1 - (x - labels) / (this.width - labels)); }

  drawLanes(on, height) {
    const matching = this.matching;
    this.lanes = this.lanesOf(matching);
    this.laneHeight = Math.min(22, height / Math.max(1, this.lanes.length));
    const begin = this.right - this.span;
    const visible = matching.filter(record => record.time_seconds >= begin && record.time_seconds <= this.right);
    this.visible = visible;
    this.lanes.forEach((lane, i) => {
      const top = i * this.laneHeight;
      on.fillStyle = this.color(lane.program ? "quiet" : "text");
      on.fillText(lane.name.slice(0, 15), 0, top + this.laneHeight / 2, labels - 4);
      on.fillStyle = this.color("line");
      on.fillRect(labels, top + this.laneHeight - 1, this.width, 0.5);
      for (const record of visible) {
        if (!lane.holds(record)) continue;
        on.fillStyle = this.color(kindOf(record));
        on.fillRect(this.xOf(record.time_seconds), top + 2, record === this.selected ? 4 : 2, this.laneHeight - 4);
      }
    });
    if (!this.lanes.length) {
      on.fillStyle = this.color("quiet");
      on.fillText(this.words.length ? "no transfer has all these words" : "no transfers yet", labels, 12);
    }
  }

  drawCurves(on, top, height) {
    const shown = [...this.shown].filter(key => this.curves.has(key));
    const limits = new Map(); // of each unit
    for (const key of shown) {
      const { unit, points } = this.curves.get(key);
      const numbers = points.map(point => point[1]).concat(limits.get(unit) ?? []);
      limits.set(unit, [Math.min(...numbers), Math.max(...numbers)]);
    }
    shown.forEach((key, i) => {
      const { unit, points, text } = this.curves.get(key);
      const [low, high] = limits.get(unit);
      const yOf = number => top + height - 4 - (height - 10) * (high > low ? (number - low) / (high - low) : 0.5);
      on.strokeStyle = on.fillStyle = curveColors[i % curveColors.length];
      on.lineWidth = 1.5;
      on.beginPath();
      on.save();
      on.rect(labels, top, this.width, height);
      on.clip();
      on.beginPath();
      points.forEach(([time, number], place) => {
        if (place === 0) on.moveTo(this.xOf(time), yOf(number));
        else {
          on.lineTo(this.xOf(time), yOf(points[place - 1][1]));
          on.lineTo(this.xOf(time), yOf(number));
        }
      });
      if (points.length) on.lineTo(this.xOf(this.now ?? this.right), yOf(points.at(-1)[1]));
      on.stroke();
      on.restore();
      on.fillText(`${key.split(".").slice(0, 1)} ${text}`, 0, top + 8 + i * 12, labels - 4);
    });
  }

  drawAxis(on, height) {
    on.fillStyle = this.color("quiet");
    const raw = this.span / 6;
    const power = 10 ** Math.floor(Math.log10(raw));
    const step = [1, 2, 5, 10].map(each => each * power).find(each => each >= raw);
    for (let time = Math.ceil((this.right - this.span) / step) * step; time <= this.right; time += step) {
      const x = this.xOf(time);
      on.fillRect(x, height - axis, 1, 4);
      on.fillText(`${Number(time.toPrecision(12))} s`, x + 3, height - axis / 2);
    }
  }

  drawList() {
    this.listStale = false;
    byId("latest").replaceChildren(...this.matching.slice(-listed).reverse().map(record =>
      element("li", { className: kindOf(record) === "ok" ? "" : kindOf(record), textContent: record.line })));
  }

  zoom(factor, x = this.width) {
    const time = this.timeAt(x);
    const span = Math.min(Math.max(this.span * factor, shortest), keptSeconds);
    if (this.end !== null) this.end = time + (this.right - time) * span / this.span;
    this.span = span;
    this.stale = true;
  }

  pan(seconds) {
    const first = this.records[0]?.time_seconds ?? 0;
    const end = Math.max(this.right + seconds, first);
    this.end = end >= (this.now ?? 0) ? null : end;
    this.stale = true;
  }

  at(x, y) {
    const lane = this.lanes?.[Math.floor(y / this.laneHeight)];
    let best = null;
    for (const record of lane ? this.visible.filter(lane.holds) : []) {
      const distance = Math.abs(this.xOf(record.time_seconds) - x);
      if (distance <= near && (!best || distance < best.distance)) best = { record, distance };
    }
    return best?.record ?? null;
  }

  select(record, x, y) {
    const box = byId("hover");
    if (record !== this.selected) this.stale = true;
    this.selected = record;
    box.hidden = !record;
    if (!record) return;
    box.textContent = `${record.line}\n${decode(this.board, record)}`.trim();
    box.style.left = `${Math.max(0, Math.min(x + 12, this.width - box.offsetWidth))}px`;
    box.style.top = `${y > this.canvas.clientHeight / 2 ? y - box.offsetHeight - 8 : y + 14}px`;
    this.canvas.setAttribute("aria-label", box.textContent);
  }

  // The transfer before or after the selected one.
  step(direction) {
    const all = this.matching;
    const place = this.selected ? all.indexOf(this.selected) + direction : all.length - 1;
    const record = all[Math.min(Math.max(place, 0), all.length - 1)];
    if (!record) return;
    if (record.time_seconds < this.right - this.span || record.time_seconds > this.right) this.end = record.time_seconds + this.span / 2;
    this.select(record, this.xOf(record.time_seconds), 0);
  }

  listen() {
    const { canvas } = this;
    let drag = null;
    const place = event => {
      const box = canvas.getBoundingClientRect();
      return [event.clientX - box.left, event.clientY - box.top];
    };
    canvas.onpointerdown = event => { drag = place(event)[0]; canvas.setPointerCapture(event.pointerId); };
    canvas.onpointerup = () => { drag = null; };
    canvas.onpointermove = event => {
      const [x, y] = place(event);
      if (drag !== null && Math.abs(x - drag) > 2) {
        this.pan((drag - x) / (this.width - labels) * this.span);
        drag = x;
      } else {
        this.select(this.at(x, y), x, y);
      }
    };
    canvas.onpointerleave = () => this.select(null);
    canvas.onwheel = event => { event.preventDefault(); this.zoom(event.deltaY > 0 ? zoomStep : 1 / zoomStep, place(event)[0]); };
    const keys = {
      "+": () => this.zoom(1 / zoomStep), "-": () => this.zoom(zoomStep), ArrowLeft: () => this.pan(-this.span / 5),
      ArrowRight: () => this.pan(this.span / 5), Home: () => this.pan(-Infinity), End: () => this.goLive(),
      ArrowUp: () => this.step(-1), ArrowDown: () => this.step(1), Escape: () => this.select(null),
    };
    canvas.onkeydown = event => {
      if (!keys[event.key]) return;
      event.preventDefault();
      keys[event.key]();
    };
    byId("zoom-in").onclick = () => this.zoom(1 / zoomStep);
    byId("zoom-out").onclick = () => this.zoom(zoomStep);
    byId("live").onclick = () => (this.end === null ? this.hold() : this.goLive());
    byId("filter").oninput = event => {
      this.words = event.target.value.toLowerCase().split(/\s+/).filter(Boolean);
      this.stale = this.listStale = true;
    };
    byId("list").ontoggle = () => { this.listStale = true; };
  }

  hold() { this.end = this.now; this.stale = true; }

  goLive() { this.end = null; this.stale = true; }
}
