// The contrast of every visible text, and of the edges of what can be used, by their computed
// colours (WCAG 2.2, "relative luminance" and "contrast ratio"). Returns how many were measured
// and, of those below the least that is asked, [element, text, ratio].
const partsOf = colour => {
  const parts = colour.match(/[\d.]+/g).map(Number);
  return parts.length < 4 ? [...parts, 1] : parts;
};
const over = (top, under) => top.slice(0, 3).map((value, i) =>
    value * top[3] + under[i] * (1 - top[3]));
const luminance = colour => colour.map(value => value / 255)
    .map(value => value <= 0.04045 ? value / 12.92 : ((value + 0.055) / 1.055) ** 2.4)
    .reduce((sum, value, i) => sum + value * [0.2126, 0.7152, 0.0722][i], 0);

function backOf(element) {
  const layers = [];
  for (let at = element; at; at = at.parentElement) {
    const layer = partsOf(getComputedStyle(at).backgroundColor);
    layers.push(layer);
    if (layer[3] === 1) return layers.reduceRight((under, top) => over(top, under));
  }
  throw new Error('the window shows through behind ' + element.localName);
}

function ratioOf(colour, back) {
  const [less, more] = [luminance(over(partsOf(colour), back)), luminance(back)].sort((a, b) => a - b);
  return (more + 0.05) / (less + 0.05);
}

let measured = 0;
const low = [];
function measure(element, text, colour, back, least) {
  ++measured;
  const ratio = ratioOf(colour, back);
  if (ratio < least) low.push([element.localName, text, ratio]);
}

function measureText(element, text, style) {
  const size = parseFloat(style.fontSize);
  const isLarge = size >= 24 || (size >= 18.66 && style.fontWeight >= 700);
  measure(element, text, style.color, backOf(element), isLarge ? 3 : 4.5);
}

const texts = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
while (texts.nextNode()) {
  const element = texts.currentNode.parentElement;
  const text = texts.currentNode.data.trim();
  if (!text || !element.checkVisibility() || element.localName === 'script') continue;
  measureText(element, text, getComputedStyle(element));
}
for (const element of document.querySelectorAll('#tools input, #tools select, #tools button')) {
  if (!element.checkVisibility()) continue;
  const around = backOf(element.parentElement);
  measure(element, 'edge', getComputedStyle(element).borderTopColor, around, 3);
  if (element.placeholder) {
    measureText(element, element.placeholder, getComputedStyle(element, '::placeholder'));
  }
}
const focus = getComputedStyle(document.documentElement).getPropertyValue('--focus').trim();
document.body.style.outlineColor = focus;
measure(document.body, 'focus', getComputedStyle(document.body).outlineColor,
        backOf(document.body), 3);
return [measured, low];
