
// Puts the page together.

function readColours(trace) {
  const style = getComputedStyle(document.documentElement);
  const read = name => style.getPropertyValue(`--${name}`).trim();
  const colours = Object.fromEntries(
    ['text', 'dim', 'line', 'accent', 'path', 'flow', 'mark', 'ink'].map(name => [name, read(name)]));
  const light = read('light');
  const known = makeHues(trace).map(hue => `hsl(${hue.toFixed(0)} 62% ${light})`);
  colours.ofName = name => known[name];
  return colours;
}

class Page {
  constructor(trace) {
    this.trace = trace;
    this.view = new View(trace);
    this.lanes = new Lanes(trace, this.view);
    this.canvas = document.getElementById('timeline');
    this.scroll = document.getElementById('scroll');
    this.tip = document.getElementById('tip');
    this.setTheme(matchMedia('(prefers-color-scheme: dark)').matches ? 'dark' : 'light');
    this.table = new SummaryTable(trace, this.colours, name => this.search(name));
    this.strip = new FrameStrip(trace, frame => this.showFrame(frame));
    document.getElementById('spacer').style.height = `${Math.max(this.lanes.height, 60)}px`;
    this.scroll.style.height = `${this.lanes.height + 2}px`;
    this.view.changed = () => this.draw();
    this.describe();
    this.attach();
    this.draw();
  }

  describe() {
    const { data, count } = this.trace;
    const number = value => value.toLocaleString('en');
    document.getElementById('file').textContent = data.file;
    document.title = `Trace report: ${data.file}`;
    document.getElementById('facts').textContent =
      `${timeText(data.duration)} · ${number(data.events)} events · ${number(this.trace.lanes.length)} threads · ` +
      `${number(count)} slices · ${number(data.flows.length / 4)} flow arrows · ${number(data.frames.length)} frames`;
  }

  attach() {
    attachKeys(this.view, this.scroll);
    attachDrag(this.view, this.scroll, this.canvas, event => this.select(this.sliceAt(event)));
    this.canvas.addEventListener('dblclick', event => this.zoomTo(this.sliceAt(event)));
    this.canvas.addEventListener('pointermove', event => this.showTip(event));
    this.canvas.addEventListener('pointerleave', () => { this.tip.hidden = true; });
    this.scroll.addEventListener('scroll', () => this.draw());
    window.addEventListener('resize', () => this.draw());
    const on = (id, event, action) => document.getElementById(id).addEventListener(event, action);
    on('zoom-in', 'click', () => this.view.zoom(0.6));
    on('zoom-out', 'click', () => this.view.zoom(1 / 0.6));
    on('fit', 'click', () => this.view.fit());
    on('search', 'input', event => this.search(event.target.value));
    on('show-flows', 'change', event => {
      this.lanes.showFlows = event.target.checked;
      this.draw();
    });
    on('theme', 'click', () => {
      this.setTheme(document.documentElement.dataset.theme === 'dark' ? 'light' : 'dark');
      this.table.colours = this.colours;
      this.table.fill();
      this.draw();
    });
  }

  setTheme(theme) {
    document.documentElement.dataset.theme = theme;
    this.colours = readColours(this.trace);
  }

  // Once for each picture of the screen, however many reasons there are.
  draw() {
    this.pending ??= requestAnimationFrame(() => {
      this.pending = undefined;
      this.view.width = this.scroll.clientWidth;
      drawRuler(document.getElementById('ruler'), this.view, this.colours);
      this.lanes.draw(this.canvas, this.scroll.clientHeight, this.scroll.scrollTop, this.colours);
      this.strip.draw(this.colours);
    });
  }

  sliceAt(event) { return this.lanes.sliceAt(event.offsetX, event.offsetY + this.scroll.scrollTop); }

  showTip(event) {
    const slice = this.sliceAt(event);
    this.tip.hidden = slice < 0;
    if (slice < 0) {
      return;
    }
    const { trace } = this;
    const text = trace.names[trace.argument[slice]];
    this.tip.textContent = `${trace.nameOf(slice)}\n${timeText(trace.duration[slice])}${text ? `\n${text}` : ''}`;
    this.tip.style.left = `${Math.min(event.clientX + 14, innerWidth - this.tip.offsetWidth - 8)}px`;
    this.tip.style.top = `${Math.min(event.clientY + 14, innerHeight - this.tip.offsetHeight - 8)}px`;
  }

  select(slice) {
    this.lanes.selected = slice;
    const details = document.getElementById('details');
    details.replaceChildren();
    if (slice < 0) {
      details.textContent = 'Click a slice to see what it is.';
      this.draw();
      return;
    }
    const { trace } = this;
    const add = (tag, text) => details.appendChild(document.createElement(tag)).append(text);
    add('b', trace.nameOf(slice) || '(no name)');
    add('span', trace.lanes[trace.thread[slice]].name);
    add('span', `at ${timeText(trace.begin[slice])}`);
    add('span', `takes ${timeText(trace.duration[slice])}`);
    add('span', `self ${timeText(selfTime(trace, slice))}`);
    add('span', trace.names[trace.argument[slice]]);
    details.append(document.createElement('br'));
    this.addFlowButtons(details, slice);
    this.draw();
  }

  addFlowButtons(details, slice) {
    const { trace } = this;
    // A slice that feeds a thousand others needs no thousand buttons.
    for (const place of (trace.flowsOf.get(slice) ?? []).slice(0, 20)) {
      const other = trace.flows[place] === slice ? trace.flows[place + 2] : trace.flows[place];
      const button = details.appendChild(document.createElement('button'));
      button.textContent = `${trace.flows[place] === slice ? '→' : '←'} ${trace.nameOf(other)}`;
      button.addEventListener('click', () => {
        this.select(other);
        this.zoomTo(other);
      });
    }
  }

  zoomTo(slice) {
    if (slice >= 0) {
      const { begin, duration } = this.trace;
      this.view.showAround(begin[slice], begin[slice] + duration[slice]);
      this.scroll.scrollTop = this.lanes.yOf(slice) - this.scroll.clientHeight / 2;
    }
  }

  showFrame(frame) {
    this.lanes.path = frame.path !== null && frame.path.length > 0 ? frame.path : null;
    this.view.showAround(frame.begin, Math.max(frame.end, frame.begin + 1));
  }

  search(text) {
    const box = document.getElementById('search');
    box.value = text;
    const wanted = text.toLowerCase();
    const { names, count, name } = this.trace;
    this.lanes.matches = wanted === '' ? null
      : new Set([...names.keys()].filter(i => names[i].toLowerCase().includes(wanted)));
    let found = 0;
    for (let i = 0; i < count && wanted !== ''; ++i) {
      found += this.lanes.matches.has(name[i]) ? 1 : 0;
    }
    document.getElementById('found').textContent = wanted === '' ? '' : `${found.toLocaleString('en')} slices`;
    this.draw();
  }
}

window.report = new Page(makeTrace(JSON.parse(document.getElementById('data').textContent)));
