// SPDX-License-Identifier: Apache-2.0
// What the data of a transfer mean, by the register tables of the chips.

import { hex } from "./words.js";

const block = 0xff; // bytes of a register that is a block, its length first
const mostDecimals = 3;

function signed(value, bits) { return value >> (bits - 1) ? value - 2 ** bits : value; }

// With as many decimals as the exponent is worth.
function scaled(value, exponent, unit) {
  return `${(value * 2 ** exponent).toFixed(Math.min(mostDecimals, Math.max(0, -exponent)))} ${unit}`;
}

// A raw value in its unit; nothing if it is no quantity.
function quantity(type, register, raw) {
  if (register.format === "LINEAR11") return scaled(signed(raw & 0x7ff, 11), signed(raw >> 11, 5), register.unit);
  if (register.format === "LINEAR16") return scaled(raw, type.exponent, register.unit);
  if (!register.unit) return "";
  const value = register.signed ? signed(raw, 8 * register.bytes) : raw;
  return `${(value / 10 ** register.decimals).toFixed(register.decimals)} ${register.unit}`;
}

function inWords(type, register, data) {
  if (register.bytes === block) {
    const text = data.slice(1, 1 + data[0]);
    return text.length && text.every(byte => byte >= 32 && byte < 127) ? `"${String.fromCharCode(...text)}"` : hex(data);
  }
  if (register.bytes > 2 || data.length < register.bytes) return hex(data);
  const own = data.slice(0, register.bytes); // a packet error code may follow
  if (register.format !== "high byte first") own.reverse();
  const raw = own.reduce((sum, byte) => sum * 256 + byte, 0);
  const value = quantity(type, register, raw);
  if (value) return value;
  const names = register.bits.filter((name, bit) => name && raw >> bit & 1);
  return `0x${hex(own).replace(" ", "")}${names.length ? ` (${names.join(", ")})` : ""}`;
}

// "READ_VIN: 230.0 V"; nothing where no table says it.
export function decode(board, record) {
  const type = board.types[board.chips[record.chips[0]]?.type];
  if (!type || record.register === null) return "";
  const code = record.register & ~type.flags;
  const register = type.registers.find(each => code >= each.code && code < each.code + each.count);
  const data = record.read.length ? record.read : record.written.slice(1);
  if (!register || !data.length) return "";
  return `${record.register_name}: ${inWords(type, register, data)}`;
}
