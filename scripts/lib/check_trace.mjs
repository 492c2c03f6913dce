// node check_trace.mjs TOOLS FILE [--scrambled]: see scripts/check-trace.
//
// TOOLS holds node_modules and receives the picture.

import fs from 'node:fs';
import http from 'node:http';
import path from 'node:path';
import { createRequire } from 'node:module';
import { withPage } from './browser.mjs';

const KEY = 0x5a17c3e4;
// What speedscope says of an argument that the beginning of a slice has and its end has not. The name
// must be the same in both places: anything else is a slice that ended wrongly.
const ARGUMENT_WARNING =
  /^ts=\S+: Tried to end "(.*)" when "(.*)" was on the top of the stack\. Ending (.*) instead\.$/s;

const problems = [];
const check = (isGood, text) => isGood || problems.push(text);

function readTrace(file, isScrambled) {
  const bytes = fs.readFileSync(file);
  if (isScrambled) {
    for (let i = 0; i + 4 <= bytes.length; i += 4) {
      bytes.writeUInt32LE((bytes.readUInt32LE(i) ^ KEY) >>> 0, i);
    }
  }
  return bytes.toString('utf8');
}

const keyOf = event => `${event.pid}:${event.tid}`;
const frameOf = event => event.name + (event.args ? ` ${JSON.stringify(event.args)}` : '');

// The opening and closing edges of each thread's slices, in the order of the file; the frame of an
// edge is that of the slice's beginning.
function readThreads(events) {
  const names = new Map();
  const threads = new Map();
  for (const event of events) {
    if (event.ph === 'M') {
      if (event.name === 'process_name' || event.name === 'thread_name') {
        names.set(event.name === 'thread_name' ? keyOf(event) : event.pid, event.args.name);
      }
      continue;
    }
    check(event.cat, `no category: ${JSON.stringify(event)}`);
    if (!threads.has(keyOf(event))) {
      threads.set(keyOf(event),
                  { pid: event.pid, tid: event.tid, edges: [], stack: [], slices: 0, time: event.ts });
    }
    const thread = threads.get(keyOf(event));
    check(event.ts >= thread.time, `thread ${keyOf(event)} goes back in time at ${event.ts}`);
    thread.time = event.ts;
    if (event.ph === 'B') {
      ++thread.slices;
      thread.stack.push(event);
      thread.edges.push(['O', frameOf(event), event.ts]);
    } else if (event.ph === 'E') {
      const begin = thread.stack.pop();
      check(begin?.name === event.name, `thread ${keyOf(event)}: "${event.name}" ends at ` +
            `${event.ts} inside "${begin?.name}"`);
      thread.edges.push(['C', begin ? frameOf(begin) : '', event.ts]);
    }
  }
  for (const [key, thread] of threads) {
    check(thread.stack.length === 0, `thread ${key}: ${thread.stack.length} slices never end`);
    const process = names.get(thread.pid);
    const name = names.get(key);
    thread.title = process && name ? `${process} (pid ${thread.pid}), ${name} (tid ${thread.tid})`
      : process ? `${process} (pid ${thread.pid}, tid ${thread.tid})`
      : name ? `${name} (pid ${thread.pid}, tid ${thread.tid})`
      : `pid ${thread.pid}, tid ${thread.tid}`;
  }
  check(names.size > 0, 'no process or thread has a name');
  return { names, threads: [...threads.values()].filter(thread => thread.slices > 0) };
}

// Counts the arrows that a viewer draws. It ties a start or a step to the innermost slice that is open on
// the thread, and a finish to the next one that begins there.
function checkFlows(events) {
  const started = new Set();
  const depth = new Map();
  const finishing = new Map();
  let arrows = 0;
  for (const event of events.filter(each => 'BEstf'.includes(each.ph))) {
    const { ph, id, ts } = event;
    const key = keyOf(event);
    const open = depth.get(key) ?? 0;
    if (finishing.has(key)) {
      check(ph === 'B' && ts === finishing.get(key).ts,
            `flow ${finishing.get(key).id} ends at ${finishing.get(key).ts}, not with a slice`);
      finishing.delete(key);
    }
    if (ph === 'B' || ph === 'E') {
      depth.set(key, open + (ph === 'B' ? 1 : -1));
    } else if (ph === 'f') {
      finishing.set(key, event);
    } else {
      check(open > 0, `flow ${id} is outside all slices at ${ts}`);
    }
    if (ph === 's') {
      started.add(id);
    } else if (started.has(id)) {
      ++arrows;
    }
  }
  return arrows;
}

function checkChromeTrace(require, trace, names) {
  const parsed = require('chrome-trace').parseObject(trace);
  for (const [key, name] of names) {
    if (typeof key === 'string') {
      check(parsed.threadName[key] === name,
            `chrome-trace names thread ${key} "${parsed.threadName[key]}", not "${name}"`);
    }
  }
}

function serve(directory, traceText) {
  const types = { '.html': 'text/html', '.js': 'text/javascript', '.css': 'text/css',
                  '.png': 'image/png', '.wasm': 'application/wasm', '.woff2': 'font/woff2' };
  const server = http.createServer((request, response) => {
    const name = path.basename(new URL(request.url, 'http://localhost').pathname) || 'index.html';
    if (name === 'profiling.js') {
      response.end(traceText);
      return;
    }
    fs.readFile(path.join(directory, name), (error, content) => {
      response.writeHead(error ? 404 : 200,
                         { 'Content-Type': types[path.extname(name)] ?? 'application/octet-stream' });
      response.end(content);
    });
  });
  return new Promise(resolve => server.listen(0, '127.0.0.1', () => resolve(server)));
}

// Opens the trace in speedscope; returns what it says on the console and what it exports: its own view
// of the slices.
async function openInSpeedscope(require, tools, traceText) {
  const release = path.join(tools, 'node_modules/speedscope/dist/release');
  const server = await serve(release, traceText);
  try {
    return await withPage(require, async (page, messages) => {
      const address = `http://127.0.0.1:${server.address().port}/`;
      await page.goto(`${address}#profileURL=${encodeURIComponent(`${address}profiling.js`)}`);
      await page.getByText('Time Order').waitFor();
      const download = page.waitForEvent('download');
      await page.keyboard.press('Control+s');
      const exported = JSON.parse(fs.readFileSync(await (await download).path(), 'utf8'));
      await page.screenshot({ path: path.join(tools, 'speedscope.png') });
      return { messages, exported };
    });
  } finally {
    server.close();
  }
}

function checkMessages(messages) {
  let tolerated = 0;
  for (const [type, text] of messages) {
    const [, ended, open, closed] = text.match(ARGUMENT_WARNING) ?? [];
    if (open !== undefined && open === closed && open.startsWith(`${ended} {`)) {
      ++tolerated;
    } else {
      check(type !== 'warning' && type !== 'error', `speedscope: ${type}: ${text}`);
    }
  }
  return tolerated;
}

function compareThread(thread, profile, frames) {
  const start = profile.events[0]?.at ?? 0;
  const first = thread.edges[0][2];
  check(profile.events.length === thread.edges.length,
        `${thread.title}: ${thread.edges.length} edges, speedscope shows ${profile.events.length}`);
  for (let i = 0; i < Math.min(profile.events.length, thread.edges.length); ++i) {
    const { type, frame, at } = profile.events[i];
    const shown = [type, frames[frame].name, at - start];
    const [edge, name, time] = thread.edges[i];
    if (shown.join('|') !== [edge, name, time - first].join('|')) {
      check(false, `${thread.title}: edge ${i} is ${[edge, name, time - first]}, speedscope ` +
            `shows ${shown}`);
      return;
    }
  }
}

function compare(threads, exported) {
  const frames = exported.shared.frames;
  const profiles = new Map(exported.profiles.map(profile => [profile.name, []]));
  exported.profiles.forEach(profile => profiles.get(profile.name).push(profile));
  check(exported.profiles.length === threads.length,
        `${threads.length} threads with slices, speedscope shows ${exported.profiles.length}`);
  for (const thread of threads) {
    const profile = profiles.get(thread.title)?.shift();
    check(profile, `speedscope does not show a thread "${thread.title}"`);
    if (profile) {
      compareThread(thread, profile, frames);
    }
  }
}

function parse(text) {
  try {
    return JSON.parse(text);
  } catch (error) {
    console.error(`check-trace: not JSON: ${error.message}`);
    process.exit(1);
  }
}

const [tools, file, option] = process.argv.slice(2);
const require = createRequire(path.join(path.resolve(tools), 'package.json'));
const text = readTrace(file, option === '--scrambled');
const trace = parse(text);
const { names, threads } = readThreads(trace.traceEvents);
checkChromeTrace(require, trace, names);
const arrows = checkFlows(trace.traceEvents);
const { messages, exported } = await openInSpeedscope(require, tools, text);
const tolerated = checkMessages(messages);
compare(threads, exported);

const slices = threads.reduce((sum, thread) => sum + thread.slices, 0);
check(slices > 0, 'the trace has no slices');
problems.slice(0, 20).forEach(problem => console.error(`check-trace: ${problem}`));
console.log(`check-trace: ${trace.traceEvents.length} events, ${threads.length} threads, ` +
            `${slices} slices, ${arrows} arrows, ${tolerated} argument warnings, ` +
            `${problems.length} problems`);
process.exit(problems.length === 0 ? 0 : 1);
