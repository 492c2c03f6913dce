
// The summary below the timeline and the frames above it.

const COLUMNS = ['name', 'count', 'total', 'self', 'p50', 'p99', 'max'];

class SummaryTable {
  constructor(trace, colours, choose) {
    this.trace = trace;
    this.colours = colours;
    this.choose = choose;
    this.rows = trace.data.summary.slice();
    this.most = this.rows.reduce((most, row) => Math.max(most, row[2]), 1);
    this.head = document.querySelector('#summary thead').appendChild(document.createElement('tr'));
    COLUMNS.forEach((title, column) => {
      const cell = this.head.appendChild(document.createElement('th'));
      cell.textContent = title;
      cell.addEventListener('click', () => this.sort(column));
    });
    this.column = -1;
    this.sort(2);
  }

  sort(column) {
    this.direction = column === this.column ? -this.direction : column === 0 ? 1 : -1;
    this.column = column;
    const value = row => column === 0 ? this.trace.names[row[0]] : row[column];
    this.rows.sort((a, b) => (value(a) < value(b) ? -1 : value(a) > value(b) ? 1 : 0) * this.direction);
    [...this.head.children].forEach((cell, i) => cell.classList.toggle('sorted', i === column));
    this.fill();
  }

  fill() {
    const body = document.querySelector('#summary tbody');
    body.replaceChildren(...this.rows.map(row => this.makeRow(row)));
  }

  makeRow(row) {
    const line = document.createElement('tr');
    row.forEach((value, column) => {
      const cell = line.appendChild(document.createElement('td'));
      if (column === 0) {
        const swatch = cell.appendChild(document.createElement('span'));
        swatch.className = 'swatch';
        swatch.style.background = this.colours.ofName(value);
        cell.append(this.trace.names[value] || '(no name)');
      } else if (column === 1) {
        cell.textContent = value.toLocaleString('en');
      } else {
        cell.textContent = (value / 1000).toFixed(3);
      }
    });
    const bar = document.createElement('span');
    bar.className = 'bar';
    bar.style.width = `${Math.max(70 * row[2] / this.most, 1)}px`;
    bar.style.marginLeft = '8px';
    line.children[0].append(bar);
    line.addEventListener('click', () => this.choose(this.trace.names[row[0]]));
    return line;
  }
}

// One bar for each frame, as high as the frame lasted.
class FrameStrip {
  constructor(trace, choose) {
    this.frames = trace.data.frames;
    this.canvas = document.getElementById('frames');
    this.chosen = -1;
    this.most = this.frames.reduce((most, frame) => Math.max(most, frame.end - frame.begin), 1);
    document.getElementById('frames-section').hidden = this.frames.length === 0;
    const without = this.frames.filter(frame => frame.path === null).length;
    document.getElementById('frames-note').textContent =
      `${this.frames.length} of them, the longest ${timeText(this.most)}; click one to see its critical path` +
      (without > 0 ? ` (the page has none for the ${without} fastest; zkl-trace frame shows theirs)` : '');
    this.canvas.addEventListener('click', event => {
      const frame = this.frameAt(event.offsetX);
      if (frame >= 0) {
        this.chosen = frame;
        choose(this.frames[frame]);
      }
    });
  }

  get step() { return Math.min(this.canvas.clientWidth / this.frames.length, 40); }

  frameAt(x) {
    const frame = Math.floor(x / this.step);
    return frame < this.frames.length ? frame : -1;
  }

  draw(colours) {
    if (this.frames.length === 0) {
      return;
    }
    const { context } = prepare(this.canvas, 64);
    const step = this.step;
    this.frames.forEach((frame, i) => {
      const height = Math.max(62 * (frame.end - frame.begin) / this.most, 1);
      context.fillStyle = i === this.chosen ? colours.path : colours.accent;
      context.globalAlpha = i === this.chosen ? 1 : 0.6;
      context.fillRect(i * step, 64 - height, Math.max(step - 1, 1), height);
    });
    context.globalAlpha = 1;
  }
}
