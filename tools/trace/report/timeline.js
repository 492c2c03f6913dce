
// The part of the time that is seen, and how it is moved.

const LABELS = 170;  // pixels left of the time

class View {
  constructor(trace) {
    this.trace = trace;
    this.width = 1000;
    this.changed = () => {};
    this.begin = 0;
    this.end = trace.length;
  }

  get scale() { return (this.width - LABELS) / (this.end - this.begin); }
  toX(time) { return LABELS + (time - this.begin) * this.scale; }
  toTime(x) { return this.begin + (x - LABELS) / this.scale; }

  show(begin, end) {
    const least = 0.05;
    const length = Math.min(Math.max(end - begin, least), this.trace.length * 1.1);
    const margin = this.trace.length * 0.05;
    const middle = (begin + end) / 2;
    this.begin = Math.min(Math.max(middle - length / 2, -margin), this.trace.length + margin - length);
    this.end = this.begin + length;
    this.changed();
  }

  fit() { this.show(0, this.trace.length); }
  pan(time) { this.show(this.begin + time, this.end + time); }

  // Zooms so that the time at `x` stays where it is.
  zoom(factor, x = LABELS + (this.width - LABELS) / 2) {
    const at = this.toTime(x);
    this.show(at - (at - this.begin) * factor, at + (this.end - at) * factor);
  }

  showAround(begin, end) {
    const margin = Math.max((end - begin) * 0.15, 0.05);
    this.show(begin - margin, end + margin);
  }
}

// Sizes a canvas to its place on the page and returns what draws on it, in CSS pixels.
function prepare(canvas, height) {
  const ratio = window.devicePixelRatio || 1;
  const width = canvas.parentElement.clientWidth -
    (canvas.parentElement.id === 'scroll' ? 0 : 24);
  if (canvas.width !== Math.round(width * ratio) || canvas.height !== Math.round(height * ratio)) {
    canvas.width = Math.round(width * ratio);
    canvas.height = Math.round(height * ratio);
    canvas.style.height = `${height}px`;
  }
  const context = canvas.getContext('2d');
  context.setTransform(ratio, 0, 0, ratio, 0, 0);
  context.clearRect(0, 0, width, height);
  context.font = '12px system-ui, "Segoe UI", "Liberation Sans", sans-serif';
  context.textBaseline = 'middle';
  return { context, width };
}

// The distance of the ruler's ticks: 1, 2 or 5 times a power of ten, about 110 pixels.
function tickOf(scale) {
  const wanted = 110 / scale;
  const power = 10 ** Math.floor(Math.log10(wanted));
  return [1, 2, 5, 10].map(step => step * power).find(step => step >= wanted);
}

function drawRuler(canvas, view, colours) {
  const { context, width } = prepare(canvas, 26);
  const tick = tickOf(view.scale);
  context.fillStyle = colours.dim;
  context.strokeStyle = colours.line;
  for (let time = Math.ceil(view.begin / tick) * tick; time <= view.end; time += tick) {
    const x = Math.round(view.toX(time)) + 0.5;
    context.beginPath();
    context.moveTo(x, 18);
    context.lineTo(x, 26);
    context.stroke();
    if (x + 80 < width) {
      context.fillText(timeText(+time.toFixed(3)), x + 4, 9);
    }
  }
  context.clearRect(0, 0, LABELS, 26);
  context.fillText(`${timeText(view.end - view.begin)} shown`, 4, 9);
}

function attachKeys(view, scroll) {
  const keys = {
    w: () => view.zoom(0.7), s: () => view.zoom(1 / 0.7),
    a: () => view.pan((view.begin - view.end) * 0.15), d: () => view.pan((view.end - view.begin) * 0.15),
    f: () => view.fit(), '+': () => view.zoom(0.7), '-': () => view.zoom(1 / 0.7),
    ArrowLeft: () => view.pan((view.begin - view.end) * 0.15),
    ArrowRight: () => view.pan((view.end - view.begin) * 0.15),
  };
  document.addEventListener('keydown', event => {
    const isTyping = event.target.id === 'search';
    if (!isTyping && !event.ctrlKey && !event.metaKey && !event.altKey && keys[event.key]) {
      keys[event.key]();
      event.preventDefault();
    }
  });
  scroll.addEventListener('wheel', event => {
    if (event.ctrlKey || event.metaKey) {
      view.zoom(Math.exp(event.deltaY * 0.002), event.clientX - scroll.getBoundingClientRect().left);
      event.preventDefault();
    } else if (event.shiftKey || Math.abs(event.deltaX) > Math.abs(event.deltaY)) {
      view.pan((event.deltaX || event.deltaY) / view.scale);
      event.preventDefault();
    }
  }, { passive: false });
}

// Dragging pans both ways; a press without a move is a click.
function attachDrag(view, scroll, canvas, click) {
  let from = null;
  canvas.addEventListener('pointerdown', event => {
    from = { x: event.clientX, y: event.clientY, moved: false };
    canvas.setPointerCapture(event.pointerId);
  });
  canvas.addEventListener('pointermove', event => {
    if (from === null) {
      return;
    }
    const dx = event.clientX - from.x;
    const dy = event.clientY - from.y;
    if (from.moved || Math.hypot(dx, dy) > 3) {
      from = { x: event.clientX, y: event.clientY, moved: true };
      canvas.classList.add('dragging');
      scroll.scrollTop -= dy;
      view.pan(-dx / view.scale);
    }
  });
  const stop = event => {
    if (from !== null && !from.moved && event.type === 'pointerup') {
      click(event);
    }
    from = null;
    canvas.classList.remove('dragging');
  };
  canvas.addEventListener('pointerup', stop);
  canvas.addEventListener('pointercancel', stop);
}
