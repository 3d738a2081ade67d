// SPDX-License-Identifier: Apache-2.0
// Readings and transfers as words.

const units = { volts: "V", amperes: "A", watts: "W", celsius: "C", rpm: "rpm", percent: "%" };

export function valueOf(reading) {
  if ("number" in reading) return `${reading.number.toFixed(reading.decimals)} ${units[reading.unit]}`;
  if ("bits" in reading) return `0x${reading.bits.toString(16).padStart(reading.digits, "0")}`;
  return reading.text;
}

// What `set` takes for a number in the unit of a reading.
export function settingOf(reading, number) {
  return number + ({ volts: "V", amperes: "A", watts: "W", celsius: "C" }[reading.unit] ?? "");
}

// A pin: its direction, if it has one, its level, and whether somebody drives it from outside; null for other readings.
export function pinOf(reading) {
  const found = /^(?:(input|output) )?(high|low)\b(.*)$/.exec(reading.text ?? "");
  if (!found || !reading.settable) return null;
  const [, direction, level, rest] = found;
  return { direction, level, driven: /driven|held/.test(rest) };
}

// What the pin is set to by a click: the other level, or nothing any more.
export function nextLevel(pin) {
  if (pin.driven) return "float";
  return pin.level === "high" ? "low" : "high";
}

export function hex(bytes) { return bytes.map(byte => byte.toString(16).padStart(2, "0")).join(" "); }

function wantedLength(record) {
  return { write: record.written_length, read: record.read_length }[record.operation] ?? 0;
}

export function resultOf(record) {
  if (record.error) return `${record.error} (${record.error_text})`;
  const wanted = wantedLength(record);
  return record.result === wanted ? "ok" : `${record.result} of ${wanted} bytes`;
}

// "ok", "part", "bad", or "strange": done, but not by the chip as it should be.
export function kindOf(record) {
  if (record.error) return "bad";
  if (record.result !== wantedLength(record)) return "part";
  return record.faults.length ? "strange" : "ok";
}

export function registerOf(record) {
  if (record.register === null) return "";
  const code = `0x${record.register.toString(16).toUpperCase().padStart(2, "0")}`;
  return record.register_name ? `${record.register_name}(${code})` : code;
}

function dataOf(record) {
  let text = registerOf(record) && ` ${registerOf(record)}`;
  const written = record.register === null ? record.written : record.written.slice(1);
  if (written.length) text += ` <- ${hex(written)}`;
  if (record.read.length) text += ` -> ${hex(record.read)}`;
  if (!record.written_length && !record.read_length) text += ` quick ${record.operation === "read" ? "read" : "write"}`;
  return text;
}

// A transfer as `varnel-sim trace` prints it.
export function lineOf(record) {
  const path = record.path.join(",") || record.bus;
  const chips = record.chips.join(",") || "?";
  const address = `0x${record.address.toString(16).padStart(2, "0")}`;
  const faults = record.faults.length ? `  fault: ${record.faults.join(",")}` : "";
  return `${record.time_seconds.toFixed(6)} ${record.process}[${record.pid}] ${path} ${chips}@${address}` +
    `${dataOf(record)}  ${resultOf(record)}${faults}`;
}

export function faultOf(fault) {
  let text = fault.kind;
  if ("transfers" in fault) text += ` ${fault.transfers} more`;
  if ("rate" in fault) text += ` rate ${fault.rate}`;
  return text;
}

export function timeOf(seconds) {
  const whole = Math.floor(seconds);
  const two = number => String(number).padStart(2, "0");
  const clock = `${two(Math.floor(whole / 3600) % 24)}:${two(Math.floor(whole / 60) % 60)}:${two(whole % 60)}`;
  const days = Math.floor(whole / 86400);
  return `${days ? `${days} d ` : ""}${clock}.${String(Math.floor((seconds % 1) * 10))}`;
}
