// SPDX-License-Identifier: Apache-2.0
// The page: takes events from the board, and hands clicks to it.

import { BoardView } from "./board.js";
import { byId } from "./element.js";
import { connect, say } from "./link.js";
import { Panel } from "./panel.js";
import { Timeline } from "./timeline.js";
import { Wires } from "./wires.js";
import { timeOf } from "./words.js";

const animated = 12; // transfers of those that arrive together
const apart = 35; // ms between them
const hitTime = 350; // ms

let board = null;
let ended = false;
let clock = { uptime: 0, at: 0 };
let paused = false;

function report(text, refused) {
  byId("message").textContent = text;
  byId("message").classList.toggle("refused", refused);
}

// Returns the complaint; empty: done.
async function act(words) {
  const complaint = await say(words);
  report(complaint || `varnel-sim ${words.join(" ")}`, complaint !== "");
  return complaint;
}

const panel = new Panel(act);
const view = new BoardView(act, name => panel.open(board, name));
const wires = new Wires();
const timeline = new Timeline();

// In real time, the board's time goes on between its events.
function now() {
  return clock.uptime + (board.virtual_time || ended ? 0 : (performance.now() - clock.at) / 1000);
}

function setClock(uptime) { clock = { uptime, at: performance.now() }; }

function showPrograms() {
  const names = board.programs.map(({ process, pid }) => `${process}[${pid}]`);
  byId("programs").textContent = names.join(" ") || "no program";
}

function showPower() {
  const off = Object.values(board.chips).every(chip => !chip.plugged);
  byId("power").setAttribute("aria-pressed", off);
  byId("power").textContent = off ? "Power on" : "Power off";
}

const events = {
  board(whole) {
    board = whole;
    ended = false;
    document.title = `${board.board} - varnel-sim`;
    byId("name").textContent = board.board;
    setClock(board.uptime_seconds);
    byId("time").hidden = !board.virtual_time;
    view.draw(board);
    timeline.begin(board);
    wires.draw();
    showPrograms();
    showPower();
  },
  chips({ chips, uptime_seconds: uptime, programs }) {
    Object.assign(board.chips, chips);
    board.programs = programs;
    setClock(uptime);
    for (const name of Object.keys(chips)) view.update(name);
    timeline.sample(chips, uptime);
    panel.update(board);
    wires.light();
    showPrograms();
    showPower();
  },
  trace(records) {
    const old = records.length && records.at(-1).time_seconds < now() - 2;
    timeline.add(records);
    if (!old && !document.hidden) records.slice(-animated).forEach((record, i) => wires.run(record, i * apart));
  },
  lost(transfers) { report(`${transfers} transfers were too fast for this page`, true); },
  time(state) {
    paused = state.paused;
    byId("pause").setAttribute("aria-pressed", paused);
    byId("pause").textContent = paused ? "Go on" : "Pause";
  },
  end() {
    ended = true;
    clock.uptime = board ? now() : 0;
    report("the board's server has ended", true);
  },
  silence() { if (!ended) report("varnel-sim web does not answer", true); },
};

function flash(chip, kind) {
  const card = view.cards.get(chip)?.card;
  if (!card) return;
  card.style.setProperty("--hit", `var(--${kind})`);
  card.classList.add("hit");
  clearTimeout(card.flashing);
  card.flashing = setTimeout(() => card.classList.remove("hit"), hitTime);
}

let last = performance.now();
function frame(time) {
  if (board) {
    byId("uptime").textContent = timeOf(now());
    timeline.setNow(now());
    timeline.draw();
    wires.move(time, flash);
    if (!paused && !ended) view.turnFans(Math.min((time - last) / 1000, 0.1));
  }
  last = time;
  requestAnimationFrame(frame);
}

byId("words").onsubmit = async event => {
  event.preventDefault();
  const line = byId("line");
  const words = line.value.trim().replace(/^varnel-sim\s+/, "").split(/\s+/);
  if (await act(words) === "") line.value = "";
};
byId("power").onclick = () => act(["power", byId("power").getAttribute("aria-pressed") === "true" ? "on" : "off"]);
byId("pause").onclick = () => act(["time", paused ? "go" : "pause"]);
byId("step").onclick = () => act(["time", "step", byId("step-size").value]);
byId("next").onclick = () => act(["time", "next"]);

function setTheme(theme) { document.documentElement.dataset.theme = theme; timeline.stale = true; }
const dark = matchMedia("(prefers-color-scheme: dark)");
dark.onchange = () => setTheme(dark.matches ? "dark" : "light");
byId("theme").onclick = () => setTheme(document.documentElement.dataset.theme === "dark" ? "light" : "dark");
dark.onchange();

new ResizeObserver(() => wires.draw()).observe(byId("buses"));
connect((name, data) => events[name](data));
requestAnimationFrame(frame);
