// SPDX-License-Identifier: Apache-2.0
// All of one chip in a dialog: every reading, settings, faults, plugging.

import { byId, element } from "./element.js";
import { faultOf, valueOf } from "./words.js";

export class Panel {
  // `act(words)` does what the user asks for, and returns the complaint.
  constructor(act) {
    this.act = act;
    this.dialog = byId("panel");
    this.dialog.addEventListener("close", () => { this.name = null; });
  }

  open(board, name) {
    this.name = name;
    this.values = new Map();
    this.complaint = element("output", { className: "bad", role: "status" });
    this.table = element("tbody");
    this.state = element("p");
    this.plug = element("button", { type: "button" });
    const close = element("button", { type: "button", textContent: "Close", onclick: () => this.dialog.close() });
    this.dialog.replaceChildren(
      element("h3", { id: "panel-title", textContent: `${name} (${board.chips[name].type})` }),
      this.state, element("table", {}, this.table),
      this.makeFaultForm(board.faults), element("div", { className: "buttons" }, this.plug, close), this.complaint);
    this.update(board);
    this.dialog.showModal();
  }

  async do(words) { this.complaint.textContent = await this.act(words); }

  update(board) {
    const chip = this.name && board.chips[this.name];
    if (!chip) return;
    const where = chip.connections.map(at => `0x${at.address.toString(16).padStart(2, "0")} on bus ${at.bus}`).join(", ");
    const faults = chip.faults.length ? chip.faults.map(faultOf).join(", ") : "none";
    this.state.textContent = `${where}${chip.plugged ? "" : ", unplugged"}. Faults: ${faults}.`;
    this.plug.textContent = chip.plugged ? "Unplug" : "Plug in";
    this.plug.onclick = () => this.do([chip.plugged ? "unplug" : "plug", this.name]);
    const names = new Set(chip.readings.map(each => each.name));
    for (const [key, row] of this.values) {
      if (!names.has(key)) {
        row.line.remove();
        this.values.delete(key);
      }
    }
    for (const each of chip.readings) {
      if (!this.values.has(each.name)) this.values.set(each.name, this.makeRow(each));
      this.values.get(each.name).value.textContent = valueOf(each);
    }
  }

  makeRow(reading) {
    const value = element("td", { textContent: valueOf(reading) });
    const change = element("td");
    if (reading.settable) {
      const field = element("input", { type: "text", placeholder: "set to", "aria-label": `set ${reading.name} to` });
      field.onkeydown = event => {
        if (event.key === "Enter" && field.value.trim()) {
          this.do(["set", `${this.name}.${reading.name}`, field.value.trim()]);
          field.value = "";
        }
      };
      change.append(field);
    }
    const line = element("tr", {}, element("td", { className: "quiet", textContent: reading.name }), value, change);
    this.table.append(line);
    return { line, value };
  }

  makeFaultForm(kinds) {
    const kind = element("select", { "aria-label": "kind of fault" }, ...kinds.map(each => element("option", { textContent: each.name })));
    const effect = element("span", { className: "quiet" });
    const field = (option, label) => {
      const input = element("input", { type: "text", size: 6, name: option });
      return element("label", {}, label, input);
    };
    const parameter = field("", "");
    const show = () => {
      const chosen = kinds.find(each => each.name === kind.value);
      effect.textContent = chosen.effect;
      parameter.hidden = !chosen.option;
      parameter.firstChild.textContent = (chosen.option ?? "").replace("--", "");
      parameter.title = chosen.what ?? "";
      parameter.lastChild.name = chosen.option ?? "";
      parameter.lastChild.value = "";
    };
    kind.onchange = show;
    const clear = element("button", { type: "button", textContent: "Clear all", onclick: () => this.do(["fault", this.name, "none"]) });
    const form = element("form", {}, element("strong", { textContent: "Fault" }), kind, parameter, field("--count", "count"),
      field("--rate", "rate"), field("--from", "from"), field("--until", "until"),
      element("button", { textContent: "Inject" }), clear, effect);
    form.onsubmit = event => {
      event.preventDefault();
      const options = [...form.querySelectorAll("input")].filter(each => each.name && each.value.trim());
      this.do(["fault", this.name, kind.value, ...options.flatMap(each => [each.name, each.value.trim()])]);
    };
    parameter.prepend("");
    show();
    return form;
  }
}
