// The last lines of the trace, and those of them that pass the filters. What is older is in the trace only.

export const kMostLines = 5000;
const kMostCharacters = 16e6;
const kSlack = 1.2;  // so that the oldest go many at a time

const row = (raw) => {
  try {
    const {at, channel, from, to, what, result, ms, details} = JSON.parse(raw);
    return {at: Number(at), channel, from, to, what, result, ms, fault: details?.fault, raw};
  } catch {
    return null;  // broken off by a full disk
  }
};

export class Window {
  lines = [];
  shown = [];
  #size = 0;  // characters of all lines
  #next = 0;
  #fits = () => true;

  clear() {
    this.lines = [];
    this.shown = [];
    this.#size = 0;
  }

  // Returns how many lines went from the front of those shown.
  add(texts) {
    for (const text of texts) {
      const line = row(text);
      if (!line) continue;
      line.number = this.#next++;
      this.lines.push(line);
      this.#size += text.length;
      if (this.#fits(line)) this.shown.push(line);
    }
    return this.lines.length > kMostLines * kSlack || this.#size > kMostCharacters * kSlack ? this.#drop() : 0;
  }

  filter(fits) {
    this.#fits = fits;
    this.shown = this.lines.filter(fits);
  }

  // Where the line is among those shown, or where it would be.
  placeOf(number) {
    let low = 0, high = this.shown.length;
    while (low < high) {
      const middle = (low + high) >> 1;
      if (this.shown[middle].number < number) low = middle + 1;
      else high = middle;
    }
    return low;
  }

  #drop() {
    let first = Math.max(0, this.lines.length - kMostLines);
    for (const line of this.lines.slice(0, first)) this.#size -= line.raw.length;
    while (this.#size > kMostCharacters) this.#size -= this.lines[first++].raw.length;
    this.lines = this.lines.slice(first);
    const gone = this.lines.length > 0 ? this.placeOf(this.lines[0].number) : this.shown.length;
    this.shown = this.shown.slice(gone);
    return gone;
  }
}
