'use strict';

// The trace as the page works with it: typed arrays by slice, and the rows of each lane.

// First place in the sorted `array` between the places `from` and `to` whose value is not below.
function lowerBound(array, value, from = 0, to = array.length) {
  while (from < to) {
    const middle = (from + to) >> 1;
    if (array[middle] < value) {
      from = middle + 1;
    } else {
      to = middle;
    }
  }
  return from;
}

// A row holds the slices of one depth of one thread: they never overlap, so beginnings and ends are both
// in order.
function makeRows(lanes, trace) {
  for (let slice = 0; slice < trace.count; ++slice) {
    const rows = lanes[trace.thread[slice]].rows;
    const depth = trace.depth[slice];
    while (rows.length <= depth) {
      rows.push({ slices: [] });
    }
    rows[depth].slices.push(slice);
  }
  for (const lane of lanes) {
    for (const row of lane.rows) {
      row.slices = Uint32Array.from(row.slices);
      row.begins = Float64Array.from(row.slices, slice => trace.begin[slice]);
      row.ends = Float64Array.from(row.slices, slice => trace.begin[slice] + trace.duration[slice]);
    }
  }
}

function makeCounters(data) {
  const counters = new Map();
  for (let i = 0; i < data.counters.length; i += 3) {
    const [name, time, value] = data.counters.slice(i, i + 3);
    if (!counters.has(name)) {
      counters.set(name, { name: data.names[name], times: [], values: [], most: 0 });
    }
    const counter = counters.get(name);
    counter.times.push(time);
    counter.values.push(value);
    counter.most = Math.max(counter.most, value);
  }
  return [...counters.values()];
}

// The arrows that touch a slice: places in data.flows.
function makeFlowIndex(flows) {
  const index = new Map();
  for (let i = 0; i < flows.length; i += 4) {
    for (const slice of new Set([flows[i], flows[i + 2]])) {
      index.has(slice) ? index.get(slice).push(i) : index.set(slice, [i]);
    }
  }
  return index;
}

function makeTrace(data) {
  const count = data.sliceName.length;
  const begin = new Float64Array(count);
  let time = 0;
  for (let i = 0; i < count; ++i) {
    // Beginnings are distances from one to the next; a thousandth of a microsecond is exact enough.
    time = Math.round((time + data.sliceBegin[i]) * 1000) / 1000;
    begin[i] = time;
  }
  const trace = {
    count, begin, data,
    names: data.names,
    duration: Float64Array.from(data.sliceDuration),
    name: Uint32Array.from(data.sliceName),
    argument: Uint32Array.from(data.sliceArguments),
    thread: Uint32Array.from(data.sliceThread),
    depth: Uint32Array.from(data.sliceDepth),
    length: Math.max(data.duration, 1),
    counters: makeCounters(data),
    flows: data.flows,
    flowsOf: makeFlowIndex(data.flows),
    lanes: data.threads.map(thread => ({ name: thread.name, process: thread.process, rows: [] })),
    nameOf: slice => data.names[trace.name[slice]],
  };
  makeRows(trace.lanes, trace);
  return trace;
}

// Duration without the slices directly inside.
function selfTime(trace, slice) {
  const row = trace.lanes[trace.thread[slice]].rows[trace.depth[slice] + 1];
  const end = trace.begin[slice] + trace.duration[slice];
  let inside = 0;
  if (row) {
    for (let i = lowerBound(row.begins, trace.begin[slice]); i < row.begins.length && row.ends[i] <= end; ++i) {
      inside += row.ends[i] - row.begins[i];
    }
  }
  return trace.duration[slice] - inside;
}

// Microseconds in the unit that reads best.
function timeText(time) {
  const size = Math.abs(time);
  return size >= 1e6 ? `${(time / 1e6).toFixed(3)} s`
    : size >= 1e3 ? `${(time / 1e3).toFixed(3)} ms`
    : `${+time.toFixed(3)} µs`;
}

// Hues far apart for names that stand beside each other in the alphabet; by name.
function makeHues(trace) {
  const hues = [];
  const used = trace.data.summary.map(row => row[0]);
  used.sort((a, b) => (trace.names[a] < trace.names[b] ? -1 : 1));
  used.forEach((name, i) => { hues[name] = (210 + i * 137.508) % 360; });
  return hues;
}
