// SPDX-License-Identifier: Apache-2.0
// The chips where they are, as cards. A card is made once; its values follow the board.

import { byId, element } from "./element.js";
import { faultOf, nextLevel, pinOf, settingOf, valueOf } from "./words.js";

const shownTexts = 5;
const ranges = { volts: [0, 264, 1], watts: [0, 2500, 10], celsius: [-20, 100, 1], amperes: [0, 200, 1], rpm: [0, 20000, 100], percent: [0, 100, 1] };
const dragPeriod = 100; // ms between the values of a load that is dragged

// `act(words)` does what the user asks for, `open(chip)` shows all of a chip.
export class BoardView {
  constructor(act, open) {
    this.act = act;
    this.open = open;
    this.cards = new Map();
    this.fans = new Map();
  }

  draw(board) {
    this.board = board;
    this.cards.clear();
    this.fans.clear();
    const buses = new Set(Object.values(board.chips).flatMap(chip => chip.connections.map(at => at.bus)));
    const adapters = [...buses].filter(bus => /^\d+$/.test(bus)).sort((a, b) => a - b);
    byId("buses").replaceChildren(...adapters.map(bus => this.makeBus(bus, `bus ${bus}`)));
    for (const name of Object.keys(board.chips)) this.update(name);
  }

  makeBus(name, title) {
    const row = element("div", { className: "row" });
    for (const [chipName, chip] of Object.entries(this.board.chips)) {
      chip.connections.forEach((at, port) => at.bus === name && row.append(this.makeNode(chipName, chip, port)));
    }
    const label = element("div", { className: "bus-label", textContent: title });
    const bus = element("div", { className: "bus", role: "group" }, label, row);
    bus.dataset.bus = name;
    bus.setAttribute("aria-label", title);
    return bus;
  }

  makeNode(name, chip, port) {
    const node = element("div", { className: "node" });
    node.dataset.chip = name;
    node.dataset.port = port;
    if (port > 0) {
      node.append(element("article", { className: "card" }, this.makeTitle(name, chip, port),
        element("div", { className: "quiet", textContent: `see bus ${chip.connections[0].bus}` })));
      return node;
    }
    node.append(this.makeCard(name, chip));
    const leads = chip.channels.filter(channel => this.leadsAnywhere(channel.name));
    if (leads.length) {
      node.append(element("div", { className: "channels" }, ...leads.map(each => this.makeBus(each.name, each.name))));
    }
    return node;
  }

  leadsAnywhere(bus) {
    return Object.values(this.board.chips).some(chip => chip.connections.some(at => at.bus === bus));
  }

  makeTitle(name, chip, port) {
    const address = `0x${chip.connections[port].address.toString(16).padStart(2, "0")}`;
    const button = element("button", { className: "name", type: "button", textContent: name,
      title: `all of ${name}`, onclick: () => this.open(name) });
    return element("header", {}, button, element("span", { className: "quiet", textContent: `${chip.type} ${address}` }));
  }

  makeCard(name, chip) {
    const parts = {
      card: element("article", { className: "card" }),
      badges: element("span"),
      title: this.makeTitle(name, chip, 0),
      clock: element("div", { className: "clock", hidden: true }),
      values: element("dl", { className: "values" }),
      pins: element("div", { className: "pins", role: "group" }),
      lamps: element("div", { className: "lamps" }),
      rows: new Map(),
    };
    parts.title.append(parts.badges);
    parts.pins.setAttribute("aria-label", `pins of ${name}`);
    parts.card.setAttribute("aria-label", `${name}, ${chip.type}`);
    parts.card.append(parts.title, parts.clock, parts.values, parts.pins, parts.lamps);
    this.cards.set(name, parts);
    return parts.card;
  }

  update(name) {
    const chip = this.board.chips[name];
    const parts = this.cards.get(name);
    parts.card.classList.toggle("off", !chip.plugged);
    const badges = [...(chip.plugged ? [] : ["unplugged"]), ...chip.faults.map(faultOf)];
    parts.badges.replaceChildren(...badges.map(text => element("span", { className: "badge", textContent: text })));
    const texts = chip.readings.filter(each => !("number" in each) && !pinOf(each) && each.name !== "fan");
    const hidden = new Set(texts.slice(shownTexts));
    const shown = chip.readings.filter(each => !hidden.has(each));
    for (const [key, row] of parts.rows) {
      if (!shown.some(each => each.name === key)) {
        row.remove();
        parts.rows.delete(key);
      }
    }
    for (const each of shown) this.updateReading(name, parts, each);
    this.updateChannels(chip, parts);
  }

  updateReading(chip, parts, reading) {
    if (!parts.rows.has(reading.name)) parts.rows.set(reading.name, this.makeRow(chip, parts, reading));
    parts.rows.get(reading.name).show(reading);
  }

  makeRow(chip, parts, reading) {
    if (pinOf(reading)) return this.makePin(chip, parts, reading);
    if (reading.name === "fan" && reading.settable) return this.makeFan(chip, parts);
    if (reading.name === "time" && reading.settable) {
      parts.clock.hidden = false;
      return { show: now => { parts.clock.textContent = now.text; }, remove: () => { parts.clock.hidden = true; } };
    }
    const term = element("dt", { textContent: reading.name });
    const text = element("span");
    const value = element("dd", {}, text);
    const slider = "number" in reading && reading.settable ? this.makeSlider(chip, reading) : null;
    if (slider) value.prepend(slider);
    parts.values.append(term, value);
    return {
      show: now => {
        const words = valueOf(now);
        text.textContent = words.length > 30 ? `${words.slice(0, 29)}…` : words;
        text.title = words;
        if (slider && !slider.dragged) slider.value = now.number;
        this.fans.get(chip)?.follow(now);
      },
      remove: () => { term.remove(); value.remove(); },
    };
  }

  makeSlider(chip, reading) {
    const [min, max, step] = ranges[reading.unit];
    const slider = element("input", { type: "range", min, max, step, value: reading.number, "aria-label": `${chip} ${reading.name}` });
    let wanted = null;
    let last = null;
    const send = async () => {
      wanted = setTimeout(async () => { wanted = null; if (last !== slider.value) await send(); }, dragPeriod);
      last = slider.value;
      await this.act(["set", `${chip}.${reading.name}`, settingOf(reading, slider.value)]);
    };
    slider.oninput = () => { slider.dragged = true; if (!wanted) send(); };
    slider.onchange = () => { slider.dragged = false; if (last !== slider.value) send(); };
    return slider;
  }

  makePin(chip, parts, reading) {
    const button = element("button", { type: "button" });
    let now = reading;
    button.onclick = () => this.act(["set", `${chip}.${now.name}`, nextLevel(pinOf(now))]);
    parts.pins.append(button);
    return {
      show: to => {
        now = to;
        const pin = pinOf(to);
        if (!pin) return;
        const direction = { input: "in", output: "out" }[pin.direction] ?? "";
        button.className = `pin ${direction} ${pin.level} ${pin.driven ? "driven" : ""}`;
        button.textContent = to.name;
        button.title = `${to.name}: ${to.text}`;
        button.setAttribute("aria-label", `${chip} ${to.name}: ${to.text}; press for ${nextLevel(pin)}`);
      },
      remove: () => button.remove(),
    };
  }

  makeFan(chip, parts) {
    const blades = element("path", { class: "blades", d: "M0 0C-7-4-5-15 2-15S6-5 0 0C4-7 15-5 15 2S5 6 0 0C7 4 5 15-2 15S-6 5 0 0C-4 7-15 5-15-2S-5-6 0 0" });
    const button = element("button", { type: "button", className: "fan" },
      element("svg", { viewBox: "-20 -20 40 40", "aria-hidden": "true" }, element("circle", { class: "ring", r: 18 }), blades));
    parts.title.append(button);
    const fan = { blades, rpm: 0, angle: 0, follow: now => { if (now.unit === "rpm") fan.rpm = now.number; } };
    this.fans.set(chip, fan);
    return {
      show: now => {
        const stopped = now.text !== "ok";
        button.setAttribute("aria-pressed", stopped);
        button.setAttribute("aria-label", `stop the fan of ${chip}`);
        button.title = `fan ${now.text}: press to ${stopped ? "let it turn" : "stop it"}`;
        button.onclick = () => this.act(["set", `${chip}.fan`, stopped ? "ok" : "stopped"]);
      },
      remove: () => { button.remove(); this.fans.delete(chip); },
    };
  }

  updateChannels(chip, parts) {
    parts.lamps.replaceChildren(...chip.channels.map(({ name, on }) => {
      const any = on.some(Boolean);
      const bus = document.querySelector(`.bus[data-bus="${CSS.escape(name)}"]`);
      bus?.classList.toggle("lit", any);
      const title = `${name} ${any ? "on" : "off"}`;
      const lamp = element("span", { className: `lamp ${any ? "on" : ""}`, role: "img", title,
        textContent: name.includes(".") ? name.split(".").pop() : "" });
      lamp.setAttribute("aria-label", title);
      return lamp;
    }));
  }

  // Turns the fans by what they turn in `seconds`, slowly enough to be seen.
  turnFans(seconds) {
    for (const fan of this.fans.values()) {
      fan.angle = (fan.angle + fan.rpm / 60 * 360 * seconds / 50) % 360;
      fan.blades.setAttribute("transform", `rotate(${fan.angle.toFixed(1)})`);
    }
  }
}
