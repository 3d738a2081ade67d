// SPDX-License-Identifier: Apache-2.0
// One connection for all pages of a board in this browser. A page that comes later gets what the others know.

const keptTransfers = 8192;
const ports = new Set();
const known = { board: null, trace: [], time: null, end: undefined };

function tell(port, name, data) { port.postMessage({ name, data }); }

function remember(name, data) {
  if (name === "board") {
    known.board = data;
    known.trace = [];
  } else if (name === "chips") {
    Object.assign(known.board.chips, data.chips);
    known.board.uptime_seconds = data.uptime_seconds;
    known.board.programs = data.programs;
  } else if (name === "trace") {
    known.trace = known.trace.concat(data).slice(-keptTransfers);
  } else if (name === "time" || name === "end") {
    known[name] = data;
  }
}

const source = new EventSource("events");
for (const name of ["board", "chips", "trace", "lost", "time", "end"]) {
  source.addEventListener(name, event => {
    const data = JSON.parse(event.data);
    remember(name, data);
    if (name === "end") source.close();
    for (const port of ports) tell(port, name, data);
  });
}
source.onerror = () => { for (const port of ports) tell(port, "silence", null); };

self.onconnect = ({ ports: [port] }) => {
  ports.add(port);
  port.onmessage = () => ports.delete(port);
  if (known.board) {
    tell(port, "board", known.board);
    if (known.time) tell(port, "time", known.time);
    tell(port, "trace", known.trace);
    if (known.end !== undefined) tell(port, "end", known.end);
  }
};
