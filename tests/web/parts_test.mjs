// The parts of the browser's page that need no browser.
import assert from 'node:assert/strict';
import { createRequire } from 'node:module';
import { test } from 'node:test';
import { fileURLToPath } from 'node:url';

const ui = fileURLToPath(new URL('../../console/web/ui/', import.meta.url));
const { buildSync } = createRequire(`${ui}package.json`)('esbuild');
const parts = ['names', 'hash', 'rows', 'tree_rows', 'state', 'lines'].map((name) => `export * from './src/${name}';`).join('');
const [bundle] = buildSync({ stdin: { contents: parts, resolveDir: ui }, bundle: true, write: false, format: 'esm' }).outputFiles;
const { networkOf, shownName, warningOf, toHash, fromHash, stepOf, plain, block, rowCount, rowOf, placesOf, placed } = await import(
  `data:text/javascript;base64,${Buffer.from(bundle.contents).toString('base64')}`
);

const table = (what, rows) => rows.forEach(([given, wanted]) => assert.deepEqual(what(given), wanted, JSON.stringify(given)));

test('a network is its first and last address, and no other text is one', () => {
  table((text) => { const found = networkOf(text); return found && `${found.first}-${found.last}`; }, [
    ['10.0.0.0/24', '10.0.0.0-10.0.0.255'],
    [' 192.168.203.7/22 ', '192.168.200.0-192.168.203.255'],
    ['128.0.0.1/1', '128.0.0.0-255.255.255.255'],
    ['1.2.3.4/0', '0.0.0.0-255.255.255.255'],
    ['255.255.255.255/32', '255.255.255.255-255.255.255.255'],
    ...['10.0.0.0', '10.0.0.0/', '10.0.0.0/33', '10.0.0.256/24', '10.0.0/24', '10.0.0.0/24-10.0.1.0', ''].map((text) => [text, null]),
  ]);
});

test('a range of one address is shown as it, and one that ends before it begins is marked', () => {
  table(shownName, [
    ['10.0.0.5-10.0.0.5', '10.0.0.5'],
    ['10.0.0.5-10.0.0.50', '10.0.0.5-10.0.0.50'],
    ['110.0.0.5-10.0.0.5', '110.0.0.5-10.0.0.5'],
    ['anna-anna', 'anna-anna'],
  ]);
  table((name) => warningOf(name) !== '', [
    ['9.0.0.0-10.0.0.0', false],
    ['10.0.0.10-10.0.0.9', true],
    ['200.0.0.0-100.255.255.255', true],
    ['10.0.0.5-10.0.0.5', false],
    ['zed-anna', false],
  ]);
});

test('an address leads back to the page, configuration and computer that it was made of, a broken one nowhere', () => {
  const places = [{ computer: '', configServer: false }, { computer: 'mail 1&x', configServer: false }, { computer: '', configServer: true }, { computer: 'é', configServer: true }];
  for (const node of ['Users::100%', 'Users::50%25::Client', 'IP Range::10.0.0.0/24', 'Groups::DOMAIN\\Größe é', 'Users::#?&=+ 😀']) {
    for (const place of places) {
      const address = toHash({ node, ...place });
      assert.deepEqual(fromHash(address), { node, ...place });
      assert.equal(new URL(address, 'http://localhost/').hash, address, 'browsers leave it as it is');
    }
  }
  assert.equal(toHash({ node: 'site-b::General Settings', computer: 'mail1', configServer: true }), '#/General%20Settings?computer=mail1&configuration=site-b');
  table(fromHash, ['#/Users/100%', '#/%E9', '#key=00', '#', ''].map((hash) => [hash, null]));
});

test('keys lead to a row that is there', () => {
  const step = (...from) => stepOf(...from);
  table(([key, active, total, inSight]) => step(key, active, total, inSight), [
    [['ArrowDown', -1, 3, 2], 0],
    [['ArrowUp', -1, 3, 2], 0],
    [['ArrowDown', 2, 3, 2], 2],
    [['PageDown', 0, 100, 12], 11],
    [['PageDown', 95, 100, 12], 99],
    [['PageUp', 5, 100, 0], 4],
    [['End', 0, 100, 12], 99],
    [['Home', -1, 0, 12], undefined],
    [['Enter', 0, 3, 2], undefined],
  ]);
});

test('a caption is shown without what marks its key', () => {
  table(plain, [
    ['&Level', { text: 'Level', key: 'l' }],
    ['Save && E&xit', { text: 'Save & Exit', key: 'x' }],
    ['R&&D', { text: 'R&D', key: undefined }],
    ['&&&Both', { text: '&Both', key: 'b' }],
    ['No key', { text: 'No key', key: undefined }],
  ]);
});

/** A folder of `total` children, of which those blocks are there; the names in `children` hold some of their own. */
function folder(path, total, { blocks = [0], open = [], children = {} }) {
  const nodes = (first) =>
    Array.from({ length: Math.min(block, total - first) }, (_, i) => ({ path: `${path}${path && '::'}${first + i}`, children: children[first + i] ?? 0 }));
  return [path, { total, blocks: new Map(blocks.map((number) => [number, nodes(number * block)])), open: new Map(open.map((at) => [at, `${path}${path && '::'}${at}`])) }];
}

test('the rows of a tree are its open folders one below the other, also where nothing is fetched yet', () => {
  const folders = new Map([
    // 7 was opened before 2, and the second of the three blocks is not here.
    folder('', 2 * block + 5, { blocks: [0, 2], open: [7, 2, 9], children: { 1: 4, 2: 3, 7: 2, 9: 6, 20: 1 } }),
    folder('2', 3, { open: [1], children: { 1: 2 } }),
    folder('2::1', 2, {}),
    folder('7', 2, {}),
    // 1 was open and is closed, and of 9 nothing has come.
    folder('1', 4, {}),
  ]);
  const total = rowCount(folders, '');
  assert.equal(total, 2 * block + 5 + 3 + 2 + 2);
  const all = placesOf(folders, '', 0, total);
  assert.equal(all.length, total);
  const shown = (row) => `${'>'.repeat(all[row].depth)}${all[row].node?.path}`;
  assert.deepEqual([1, 2, 3, 4, 5, 6, 7, 8, 13, 14, 15].map(shown), ['1', '2', '>2::0', '>2::1', '>>2::1::0', '>>2::1::1', '>2::2', '3', '>7::0', '>7::1', '8']);
  assert.equal(all[7 + block].node, undefined);
  assert.deepEqual([all[7 + block].folder, all[7 + block].position], ['', block]);
  // What is drawn is a part of this, wherever the part begins and ends.
  for (let from = 0; from < 20; ++from) {
    for (let to = from; to < 24; ++to) assert.deepEqual(placesOf(folders, '', from, to), all.slice(from, to), `${from} to ${to}`);
  }
  all.forEach(({ node }, row) => node && assert.equal(rowOf(folders, '', node.path), row, node.path));
  for (const path of ['1::0', '9::0', '20::0', String(block), 'none']) assert.equal(rowOf(folders, '', path), -1, path);
});

test('nodes that have gone leave no open rows behind', () => {
  const folders = new Map([folder('', 3, { open: [2, 5], children: { 2: 1 } }), folder('2', 1, {}), folder('5', 4, {})]);
  assert.equal(placesOf(folders, '', 0, 100).length, rowCount(folders, ''));
});

test('a field shares its line with its buttons, and a tick with the field of its name', () => {
  const lines = (...controls) => {
    const all = controls.map(([kind, caption, more]) => ({ kind, name: caption, caption, ...more }));
    return placed(all.map((control, index) => [index, control])).map(({ control, starts, alone, unnamed, below }) =>
      [starts ? '|' : '', alone ? control.name : `${control.name}~`, unnamed ? '*' : '', ...below.map(({ name }) => `/${name}`)].join('')).join(' ');
  };
  const [browse, make] = [['button', 'Browse'], ['button', 'Generate']];
  assert.equal(lines(['edit', 'File:'], browse, make, ['edit', 'Other']), '|File:~ Browse~ Generate~/File: |Other');
  assert.equal(lines(['check box', '&Limit'], ['edit', 'Limit', { takes: 'digits only' }], ['check box', 'On']), '|&Limit~ Limit~*/&Limit/Limit |On');
  assert.equal(lines(['check box', 'Limit'], ['edit', 'Number'], browse), '|Limit |Number~ Browse~/Number');
  assert.equal(lines(['check box', 'Keep'], ['edit', 'Keep'], browse, ['text', 'Note']), '|Keep~ Keep~* Browse~/Keep/Keep |Note');
  // The buttons of a dialog are nobody's.
  assert.equal(lines(['edit', 'Comment'], make, ['button', 'Cancel']), '|Comment |Generate |Cancel');
  assert.equal(lines(['edit', 'Text', { multiLine: true }], browse, make), '|Text |Browse |Generate');
});
