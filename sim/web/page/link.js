// SPDX-License-Identifier: Apache-2.0
// The connection to varnel-sim: events from it, words to it.

export const eventNames = ["board", "chips", "trace", "lost", "time", "end"];

// Calls `take(name, data)` for each event. A browser opens only a few connections to one server: pages of the same board
// share one by a worker, where the browser has such.
export function connect(take) {
  if (!window.SharedWorker) {
    const source = new EventSource("events");
    for (const name of eventNames) source.addEventListener(name, event => take(name, JSON.parse(event.data)));
    source.onerror = () => take("silence", null);
    return;
  }
  const { port } = new SharedWorker("worker.js");
  port.onmessage = ({ data }) => take(data.name, data.data);
  addEventListener("pagehide", () => port.postMessage("bye"));
  addEventListener("pageshow", event => event.persisted && location.reload());
}

// Does what the words of a command line say. Returns the complaint; empty: done.
export async function say(words) {
  try {
    const reply = await fetch("words", {
      method: "POST", headers: { "Content-Type": "application/json" }, body: JSON.stringify({ words }),
    });
    if (reply.ok) return "";
    const text = await reply.text();
    try { return JSON.parse(text).error; } catch { return text.trim(); }
  } catch {
    return "varnel-sim web has ended";
  }
}
