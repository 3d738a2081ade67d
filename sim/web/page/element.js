// SPDX-License-Identifier: Apache-2.0

const svgNames = new Set(["svg", "path", "circle", "g"]);

// An element with properties (className, textContent, onclick, ...), attributes ("aria-label") and children.
export function element(name, properties = {}, ...children) {
  const made = svgNames.has(name) ? document.createElementNS("http://www.w3.org/2000/svg", name)
    : document.createElement(name);
  for (const [key, value] of Object.entries(properties)) {
    if (key in made && !svgNames.has(name)) made[key] = value;
    else made.setAttribute(key, value);
  }
  made.append(...children);
  return made;
}

export const byId = id => document.getElementById(id);
