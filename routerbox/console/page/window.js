// The last lines of the trace, and those of them that pass the filters. What is older is in the trace only.

export const kMostLines = 5000;
const kSlack = 1000;  // so that the oldest go many at a time

const row = (raw) => {
  try {
    const {at, channel, from, to, what, result, ms, details} = JSON.parse(raw);
    return {at, channel, from, to, what, result, ms, fault: details?.fault, raw};
  } catch {
    return null;  // broken off by a full disk
  }
};

export class Window {
  lines = [];
  shown = [];
  #first = 0;  // number of the oldest line
  #next = 0;
  #fits = () => true;

  clear() {
    this.lines = [];
    this.shown = [];
    this.#first = this.#next;
  }

  // Returns how many lines went from the front of those shown.
  add(texts) {
    for (const text of texts) {
      const line = row(text);
      if (!line) continue;
      line.number = this.#next++;
      this.lines.push(line);
      if (this.#fits(line)) this.shown.push(line);
    }
    return this.lines.length > kMostLines + kSlack ? this.#drop() : 0;
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
    this.lines = this.lines.slice(-kMostLines);
    this.#first = this.lines[0].number;
    const gone = this.placeOf(this.#first);
    this.shown = this.shown.slice(gone);
    return gone;
  }
}
