
// The lanes: threads with their slices, counters, and on top of them flows and critical paths.

const ROW = 19;
const GAP = 12;
const COUNTER = 44;

class Lanes {
  constructor(trace, view) {
    this.trace = trace;
    this.view = view;
    this.selected = -1;
    this.matches = null;  // the names that were searched for
    this.showFlows = false;
    this.path = null;     // of a frame
    let y = GAP / 2;
    for (const lane of trace.lanes) {
      lane.y = y;
      y += lane.rows.length * ROW + GAP;
    }
    for (const counter of trace.counters) {
      counter.y = y;
      y += COUNTER + GAP;
    }
    this.height = y;
  }

  yOf(slice) { return this.trace.lanes[this.trace.thread[slice]].y + this.trace.depth[slice] * ROW; }

  draw(canvas, height, top, colours) {
    const { context, width } = prepare(canvas, height);
    this.context = context;
    this.colours = colours;
    this.drawFrameMarks(height);
    context.save();
    context.translate(0, -top);
    context.beginPath();
    context.rect(LABELS, top, width - LABELS, height);
    context.clip();
    for (const lane of this.trace.lanes) {
      if (lane.y + lane.rows.length * ROW >= top && lane.y <= top + height) {
        lane.rows.forEach((row, depth) => this.drawRow(row, lane.y + depth * ROW, width));
      }
    }
    this.trace.counters.forEach(counter => this.drawCounter(counter, width));
    this.drawPath();
    this.drawFlows();
    this.drawSelected();
    context.restore();
    this.drawLabels(top, width);
  }

  drawFrameMarks(height) {
    this.context.fillStyle = this.colours.mark;
    for (const frame of this.trace.data.frames) {
      const x = Math.round(this.view.toX(frame.begin));
      if (x >= LABELS) {
        this.context.fillRect(x, 0, 1, height);
      }
    }
  }

  // Slices narrower than a pixel share one, so the work is that of the pixels and not of the slices.
  drawRow(row, y, width) {
    const { context, trace, view } = this;
    let i = lowerBound(row.ends, view.begin);
    while (i < row.slices.length && row.begins[i] <= view.end) {
      const slice = row.slices[i];
      const left = Math.max(view.toX(row.begins[i]), LABELS - 2);
      const right = Math.min(view.toX(row.ends[i]), width + 2);
      this.fill(slice, left, y, Math.max(right - left - (right - left > 3 ? 1 : 0), 1));
      if (right - left > 34) {
        this.label(trace.nameOf(slice), left, y, right - left);
      }
      i = right - left >= 1 ? i + 1 : Math.max(i + 1, lowerBound(row.begins, view.toTime(left + 1), i));
    }
  }

  fill(slice, x, y, width) {
    const name = this.trace.name[slice];
    this.context.globalAlpha = this.matches === null || this.matches.has(name) ? 1 : 0.15;
    this.context.fillStyle = this.colours.ofName(name);
    this.context.fillRect(x, y, width, ROW - 2);
    this.context.globalAlpha = 1;
  }

  label(text, x, y, width) {
    const { context } = this;
    this.widths ??= new Map();
    if (!this.widths.has(text)) {
      this.widths.set(text, context.measureText(text).width);
    }
    const room = Math.floor(text.length * (width - 8) / this.widths.get(text));
    context.fillStyle = this.colours.ink;
    context.fillText(text.length > room ? `${text.slice(0, Math.max(room - 2, 1))}…` : text, x + 4, y + ROW / 2 - 0.5);
  }

  drawCounter(counter, width) {
    const { context, view } = this;
    const scale = counter.most > 0 ? (COUNTER - 4) / counter.most : 0;
    context.fillStyle = this.colours.accent;
    context.globalAlpha = 0.45;
    let i = Math.max(lowerBound(counter.times, view.begin) - 1, 0);
    while (i < counter.times.length && counter.times[i] <= view.end) {
      const left = Math.max(view.toX(counter.times[i]), LABELS);
      const right = i + 1 < counter.times.length ? view.toX(counter.times[i + 1]) : Math.min(view.toX(this.trace.length), width);
      context.fillRect(left, counter.y + COUNTER - counter.values[i] * scale, Math.max(right - left, 1), counter.values[i] * scale);
      i = right - left >= 1 ? i + 1 : Math.max(i + 1, lowerBound(counter.times, view.toTime(left + 1), i) - 1);
    }
    context.globalAlpha = 1;
  }

  drawPath() {
    if (this.path === null) {
      return;
    }
    const { context, trace, view } = this;
    context.strokeStyle = context.fillStyle = this.colours.path;
    context.lineWidth = 2;
    let before = null;
    for (let i = 0; i < this.path.length; i += 5) {
      const [lane, slice, waits, begin, duration] = this.path.slice(i, i + 5);
      const left = view.toX(begin);
      const right = view.toX(begin + duration);
      if (right < LABELS || left > view.width) {
        before = null;
        continue;
      }
      const y = (slice >= 0 && trace.thread[slice] === lane ? this.yOf(slice) : trace.lanes[lane].y) + ROW - 3;
      context.globalAlpha = waits ? 0.4 : 1;
      context.fillRect(left, y, Math.max(right - left, 1), 3);
      context.globalAlpha = 0.7;
      if (before !== null && before.lane !== lane) {
        context.beginPath();
        context.moveTo(left, before.y + 1);
        context.lineTo(left, y + 1);
        context.stroke();
      }
      before = { lane, y };
    }
    context.globalAlpha = context.lineWidth = 1;
  }

  drawFlows() {
    const { trace, view } = this;
    const places = this.selected >= 0 ? trace.flowsOf.get(this.selected) ?? [] : [];
    if (this.showFlows) {
      // More than that is a carpet that shows nothing.
      const most = 3000;
      let drawn = 0;
      for (let i = 0; i < trace.flows.length && drawn < most; i += 4) {
        if (trace.flows[i + 3] >= view.begin && trace.flows[i + 1] <= view.end) {
          this.drawArrow(i, 0.55);
          ++drawn;
        }
      }
    }
    places.forEach(place => this.drawArrow(place, 1));
  }

  drawArrow(place, alpha) {
    const { context, trace, view } = this;
    const [from, fromTime, to, toTime] = trace.flows.slice(place, place + 4);
    const [x1, y1] = [view.toX(fromTime), this.yOf(from) + ROW / 2];
    const [x2, y2] = [view.toX(toTime), this.yOf(to) + ROW / 2];
    const bend = Math.max(Math.min(Math.abs(x2 - x1) / 2, 80), 12);
    context.globalAlpha = alpha;
    context.strokeStyle = context.fillStyle = this.colours.flow;
    context.lineWidth = 1.5;
    context.beginPath();
    context.moveTo(x1, y1);
    context.bezierCurveTo(x1 + bend, y1, x2 - bend, y2, x2, y2);
    context.stroke();
    context.beginPath();
    context.moveTo(x2, y2);
    context.lineTo(x2 - 7, y2 - 4);
    context.lineTo(x2 - 7, y2 + 4);
    context.fill();
    context.globalAlpha = context.lineWidth = 1;
  }

  drawSelected() {
    if (this.selected < 0) {
      return;
    }
    const { context, trace, view } = this;
    const left = Math.max(view.toX(trace.begin[this.selected]), LABELS - 4);
    const right = Math.min(view.toX(trace.begin[this.selected] + trace.duration[this.selected]), view.width + 4);
    context.strokeStyle = this.colours.text;
    context.lineWidth = 2;
    context.strokeRect(left, this.yOf(this.selected), Math.max(right - left, 2), ROW - 2);
    context.lineWidth = 1;
  }

  drawLabels(top, width) {
    const { context, colours } = this;
    const label = (text, note, y, height) => {
      context.fillStyle = colours.line;
      context.fillRect(0, y + height + GAP / 2 - 1, width, 1);
      context.fillStyle = colours.text;
      context.fillText(text.length > 24 ? `${text.slice(0, 23)}…` : text, 4, y + 9);
      context.fillStyle = colours.dim;
      if (note && height > ROW) {
        context.fillText(note.length > 24 ? `${note.slice(0, 23)}…` : note, 4, y + 9 + ROW);
      }
    };
    for (const lane of this.trace.lanes) {
      label(lane.name, lane.process, lane.y - top, lane.rows.length * ROW);
    }
    for (const counter of this.trace.counters) {
      label(counter.name, `up to ${counter.most}`, counter.y - top, COUNTER);
    }
  }

  // The slice under a place of the canvas, -1 for none. A slice is never too narrow to be hit.
  sliceAt(x, y) {
    const lane = this.trace.lanes.find(each => y >= each.y && y < each.y + each.rows.length * ROW);
    if (lane === undefined || x < LABELS) {
      return -1;
    }
    const row = lane.rows[Math.floor((y - lane.y) / ROW)];
    const i = lowerBound(row.ends, this.view.toTime(x - 1));
    return i < row.slices.length && row.begins[i] <= this.view.toTime(x + 1) ? row.slices[i] : -1;
  }
}
