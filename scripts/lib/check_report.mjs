// node check_report.mjs TOOLS ZKL_TRACE FILE: see scripts/check-trace.
//
// Makes the report of a trace and looks at it as a reader does: by mouse and keyboard, from the disk.

import { execFileSync } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import { createRequire } from 'node:module';
import { pathToFileURL } from 'node:url';
import { withPage } from './browser.mjs';

const HOSTILE = ['</script><script>alert(1)</script>', '<img src=x onerror=alert(2)>', '"\\\u0001\u001b[1m', '<!--'];

const problems = [];
const check = (isGood, text) => isGood || problems.push(text);

const [tools, program, file] = process.argv.slice(2);
const require = createRequire(path.join(path.resolve(tools), 'package.json'));

function makeReport(trace, name) {
  const report = path.resolve(tools, name);
  execFileSync(program, ['report', trace, '--out', report], { stdio: ['ignore', 'ignore', 'inherit'] });
  return report;
}

// Opens a report with every request but the one for itself refused, and nothing said on the console.
async function open(report, look, options) {
  await withPage(require, async (page, messages) => {
    const address = pathToFileURL(report).href;
    await page.route('**/*', route => {
      const isItself = route.request().url() === address;
      check(isItself, `the report asks for ${route.request().url()}`);
      return isItself ? route.continue() : route.abort();
    });
    await page.goto(address);
    await page.waitForFunction(() => window.report !== undefined && window.report.pending === undefined);
    await look(page);
    messages.forEach(([type, text]) => check(false, `report: ${type}: ${text}`));
  }, options);
}

// Counts and totals by name, in milliseconds, from the text of the trace.
function summarise() {
  const text = execFileSync(program, ['unscramble', file], { maxBuffer: 1 << 30, stdio: ['ignore', 'pipe', 'ignore'] });
  const rows = new Map();
  const stacks = new Map();
  for (const event of JSON.parse(text).traceEvents) {
    const key = `${event.pid}:${event.tid}`;
    if (event.ph === 'B') {
      stacks.has(key) ? stacks.get(key).push(event) : stacks.set(key, [event]);
    } else if (event.ph === 'E') {
      const begin = stacks.get(key).pop();
      const row = rows.get(begin.name) ?? [0, 0];
      rows.set(begin.name, [row[0] + 1, row[1] + event.ts - begin.ts]);
    }
  }
  return [...rows].map(([name, [count, total]]) => [name, String(count), (total / 1000).toFixed(3)].join('|')).sort();
}

async function checkTable(page) {
  const shown = await page.$$eval('#summary tbody tr', rows => rows.map(row =>
    [...row.children].slice(0, 3).map(cell => cell.textContent.replace(/,(?=\d{3})/g, '')).join('|')));
  const expected = summarise();
  check(shown.sort().join('\n') === expected.join('\n'), `summary is\n${shown.join('\n')}\nand not\n${expected.join('\n')}`);
  await page.locator('#summary th', { hasText: 'name' }).click();
  const names = await page.$$eval('#summary tbody td:first-child', cells => cells.map(cell => cell.textContent));
  check(names.every((name, i) => i === 0 || names[i - 1] <= name), `sorted by name: ${names}`);
}

// Where slice `slice` is on the screen.
const placeOf = (page, slice) => page.evaluate(index => {
  const { view, lanes, canvas, scroll, trace } = window.report;
  const box = canvas.getBoundingClientRect();
  return { x: box.left + view.toX(trace.begin[index] + trace.duration[index] / 2),
           y: box.top + lanes.yOf(index) + 8 - scroll.scrollTop };
}, slice);

const isStill = page => page.waitForFunction(() => window.report.pending === undefined);

async function checkTimeline(page) {
  // The longest slice is wide enough to be hit.
  const slice = await page.evaluate(() => {
    const { duration } = window.report.trace;
    return duration.indexOf(duration.reduce((a, b) => Math.max(a, b), 0));
  });
  const name = await page.evaluate(index => window.report.trace.nameOf(index), slice);
  const place = await placeOf(page, slice);
  await page.mouse.move(place.x, place.y);
  const tip = await page.locator('#tip').textContent();
  check(tip.startsWith(name), `the tip on "${name}" is "${tip}"`);
  await page.mouse.click(place.x, place.y);
  check(await page.locator('#details b').textContent() === name, `a click on "${name}" selects something else`);

  const span = () => page.evaluate(() => window.report.view.end - window.report.view.begin);
  const whole = await span();
  await page.mouse.dblclick(place.x, place.y);
  await isStill(page);
  check(await span() < whole, 'a double click zooms in');
  await page.keyboard.press('f');
  check(await span() === whole, 'F shows the whole trace');
  await page.keyboard.down('Control');
  await page.mouse.wheel(0, -400);
  await page.keyboard.up('Control');
  await page.waitForFunction(before => window.report.view.end - window.report.view.begin < before, whole);
  const begin = await page.evaluate(() => window.report.view.begin);
  await page.mouse.down();
  await page.mouse.move(place.x - 60, place.y, { steps: 4 });
  await page.mouse.up();
  check(await page.evaluate(() => window.report.view.begin) > begin, 'dragging pans');
  await page.keyboard.press('f');
  await isStill(page);
}

async function checkFrames(page) {
  const frames = await page.evaluate(() => window.report.trace.data.frames.length);
  check(await page.locator('#frames').isVisible() === frames > 0, 'frames are shown where there are some');
  if (frames === 0) {
    return;
  }
  await page.mouse.move(0, 0);
  await page.locator('#frames').click({ position: { x: 5, y: 40 } });
  await isStill(page);
  const [path_, begin, end] = await page.evaluate(() => {
    const { lanes, trace } = window.report;
    return [lanes.path ?? [], trace.data.frames[0].begin, trace.data.frames[0].end];
  });
  const length = path_.reduce((sum, value, i) => sum + (i % 5 === 4 ? value : 0), 0);
  check(Math.abs(length - (end - begin)) < 0.01, `the path of the first frame is ${length} us long, the frame ${end - begin}`);
}

async function look(page) {
  await checkTable(page);
  await checkTimeline(page);
  await page.screenshot({ path: path.join(tools, 'report.png'), fullPage: true });
  await checkFrames(page);
  await page.locator('#show-flows').check();
  await page.locator('#theme').click();
  await isStill(page);
  await page.screenshot({ path: path.join(tools, 'report-frame.png') });
}

function writeHostileTrace() {
  const trace = path.join(tools, 'hostile.js');
  const events = HOSTILE.flatMap((name, tid) => [
    { ph: 'M', pid: 0, tid, ts: 0, name: 'thread_name', args: { name } },
    { ph: 'B', pid: 0, tid, ts: 1, name, cat: name, args: { [name]: name } },
    { ph: 'C', pid: 0, tid, ts: 2, name, args: { value: 3 } },
    { ph: 'E', pid: 0, tid, ts: 1000, name, cat: name }]);
  fs.writeFileSync(trace, JSON.stringify(events));
  return trace;
}

await open(makeReport(file, 'report.html'), look, { colorScheme: 'light', viewport: { width: 1400, height: 900 } });
await open(makeReport(writeHostileTrace(), 'hostile.html'), async page => {
  const names = await page.$$eval('#summary tbody td:first-child', cells => cells.map(cell => cell.textContent));
  check(names.sort().join('\n') === HOSTILE.slice().sort().join('\n'), `hostile names are shown as ${names}`);
  const place = await placeOf(page, 0);
  await page.mouse.click(place.x, place.y);
  check(await page.locator('#details b').textContent() === HOSTILE[0], 'a hostile slice is selected');
});
problems.slice(0, 20).forEach(problem => console.error(`check-trace: ${problem}`));
console.log(`check-trace: the report in ${tools}, ${problems.length} problems`);
process.exit(problems.length === 0 ? 0 : 1);
