// What stands on the screen can be used by everyone: read aloud, light and dark, narrow, enlarged, and hit by any finger.
import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import { readFileSync, readdirSync } from 'node:fs';
import { createRequire } from 'node:module';
import { join } from 'node:path';
import { after, before } from 'node:test';
import { onWindows, pathOf, test } from './console.mjs';
import { start, until } from './task.mjs';

const axe = readFileSync(createRequire(import.meta.url).resolve('axe-core/axe.min.js'), 'utf8');
const compression = 'General Settings::Compression';
const wide = { width: 1280, height: 800 };
/** A page enlarged to 200 % is laid out as one on half the screen. */
const enlarged = { width: 640, height: 400 };
const narrow = { width: 360, height: 740 };
let all;
let tab;
let page;
let file;
let pages;

before(async () => {
  all = await start((home) => {
    for (const name of ['rita', 'x']) home.run('user', 'add', name);
    if (!onWindows) home.run('computer', 'add', 'branch');
    for (const name of onWindows ? [] : ['Users', 'Guests']) home.run('group', 'add', name);
    home.run('range', 'add', '10.0.0.9', '10.0.0.1');
    file = join(home.folder, 'kept.xml');
    home.run('set', compression, 'Enable Compression=on', 'Level=5');
    home.run('export', file, '--credentials', 'no');
    home.run('set', compression, 'Level=7');
    pages = JSON.parse(home.run('--json', 'tree')).data.filter((node) => node.page).map((node) => node.node);
  }, (home) => ['--files', home.folder]);
  ({ tab } = all);
  ({ page } = tab);
  await page.emulateMedia({ reducedMotion: 'reduce' });
  await page.evaluate(axe);
  await page.evaluate(judges);
});

after(() => all?.stop());

const button = (name) => page.getByRole('button', { name, exact: true });
const inDialog = (name) => tab.dialog().getByRole('button', { name, exact: true });
const fill = (name, text) => page.getByRole('textbox', { name, exact: true }).fill(text);

/** What the page is asked about itself: what scrolls sideways, can't be reached, or is hard to hit. */
function judges() {
  const kinds = 'button, input, select, textarea, a[href], [role=treeitem], .rows > .row, .twist:not(.none), .tick, .opens';
  const targetOf = (element) => element?.closest('label.box') ?? element?.closest(kinds);
  const tell = (element) => `<${element.localName} class="${element.className}"> "${(element.ariaLabel ?? element.innerText ?? '').slice(0, 40)}"`;
  const top = () => [...document.querySelectorAll('dialog[open]')].pop() ?? document.body;
  const within = (inside) => [...top().querySelectorAll(kinds)].filter((one) => one.checkVisibility({ visibilityProperty: true }) && !one.disabled && !(inside && !one.closest(inside)) && !one.matches('.skip'));
  // Tables may be wider than the screen.
  window.sideways = () =>
    [document.documentElement, ...document.querySelectorAll('header, main, footer, dialog, dialog .body, dialog .buttons')]
      .filter((box) => box.scrollWidth > Math.max(box.clientWidth, 1) && getComputedStyle(box).display !== 'none')
      .map(tell);
  window.outOfReach = (inside) => within(inside).filter((one) => {
    if (one.closest('.rows')) return false;
    one.scrollIntoView({ block: 'center', inline: 'nearest' });
    const box = one.getBoundingClientRect();
    const hit = document.elementFromPoint(box.x + box.width / 2, box.y + box.height / 2);
    return box.left < 0 || box.right > innerWidth + 0.5 || targetOf(hit) !== targetOf(one);
  }).map(tell);
  // 24 pixels around its middle belong to it, or to nothing else that does anything.
  window.hardToHit = () => within().filter((one) => {
    if (!one.closest('.rows')) one.scrollIntoView({ block: 'center', inline: 'nearest' });
    const box = targetOf(one).matches('label') ? targetOf(one).getBoundingClientRect() : one.getBoundingClientRect();
    const [x, y] = [box.x + box.width / 2, box.y + box.height / 2];
    const own = targetOf(one);
    if (targetOf(document.elementFromPoint(x, y)) !== own) return false;
    return [-11.5, 0, 11.5].some((dx) => [-11.5, 0, 11.5].some((dy) => {
      const hit = targetOf(document.elementFromPoint(x + dx, y + dy));
      return hit && hit !== own && !own.contains(hit);
    }));
  }).map(tell);
}

async function judgeAxe(what) {
  for (const colorScheme of ['light', 'dark']) {
    await page.emulateMedia({ colorScheme, reducedMotion: 'reduce' });
    const { violations } = await page.evaluate(() => axe.run(document, { resultTypes: ['violations'] }));
    const found = violations.map(({ id, nodes }) => `${id}: ${nodes.map((one) => one.html).join(' ')}`);
    assert.deepEqual(found, [], `${what}, ${colorScheme}`);
  }
}

async function judgeShape(what, inside) {
  const faults = [];
  for (const size of [enlarged, narrow, wide]) {
    await page.setViewportSize(size);
    const found = await page.evaluate((inside) => ({ sideways: sideways(), outOfReach: outOfReach(inside), hardToHit: hardToHit() }), inside);
    for (const [fault, where] of Object.entries(found)) if (where.length) faults.push(`${what}, ${size.width} pixels: ${fault}: ${where.join(', ')}`);
  }
  return faults;
}

test('no page scrolls sideways, hides anything, or is hard to hit, narrow or enlarged', async () => {
  const faults = [];
  for (const node of pages) {
    await tab.show(node);
    faults.push(...(await judgeShape(node, 'main, footer, .top')));
  }
  assert.deepEqual(faults, []);
});

test('on a narrow screen the tree is a drawer that opens, leads and closes', async () => {
  await page.setViewportSize(narrow);
  await tab.show('Banner');
  await button('Settings tree').click();
  assert.deepEqual(await page.evaluate(() => [...sideways(), ...hardToHit()]), []);
  await until(() => page.getByRole('tree').evaluate((tree) => tree === document.activeElement), true);
  await page.keyboard.press('Escape');
  await page.locator('nav').waitFor({ state: 'hidden' });
  await button('Settings tree').click();
  await page.getByRole('treeitem', { name: 'Access Control' }).click();
  await tab.heading('Access Control');
  await page.locator('nav').waitFor({ state: 'hidden' });
  await page.setViewportSize(wide);
});

/** Holds the store from being written, as a process that writes does. */
async function holdStore() {
  const home = join(all.home.folder, 'home');
  const lock = readdirSync(home, { recursive: true }).find((name) => name.split('/').pop() === 'writer');
  const holder = spawn('flock', ['--no-fork', join(home, lock), 'sleep', '600'], { stdio: 'ignore' });
  await new Promise((done) => setTimeout(done, 300));
  return () => new Promise((done) => (holder.once('exit', done), process.kill(holder.pid)));
}

async function twoEdits() {
  await tab.show('General Settings');
  await fill('Maximum Connections', '31');
  await tab.show(compression);
  await fill('Level', '3');
  await button('Changes on 2 pages wait').waitFor();
}

async function openImport() {
  await tab.show('Configuration Management');
  await button('Import Settings').click();
  await inDialog('Yes').click();
  await tab.dialog().getByRole('textbox', { name: 'File name' }).waitFor();
}

/** How each kind of dialog comes up, and a text in it. */
const dialogs = {
  'a dialog of a page': ['User Name', async () => (await tab.show('Users'), button('New User').click())],
  'a message': ['Must enter user name.', async () => (await tab.show('Users'), await button('New User').click(), inDialog('OK').click())],
  'a question': ['Are you sure', async () => {
    await tab.show('Users');
    await page.locator('#page').getByRole('row', { name: 'rita' }).click();
    await button('Delete User').click();
  }],
  'a question about several': ['Delete 2 of', async () => {
    await tab.show('Users');
    for (const name of ['rita', 'x']) await page.locator('#page').getByRole('row', { name }).locator('.picks').click();
    await button('Delete User (2)').click();
  }],
  'a file picker': ['File name', openImport],
  'the preview of an import': ['The import adds', async () => (await openImport(), await tab.dialog().getByRole('textbox', { name: 'File name' }).fill(pathOf(file)), inDialog('Open').click())],
  'a folder picker': ['Choose', async () => (await tab.show('Users::rita'), button('Browse').click())],
  'the review': ['Changes that wait on 2', async () => (await twoEdits(), button('Changes on 2 pages wait').click())],
  'a question before a discard': ['Discard the changes', async () => (await twoEdits(), tab.cancel().click())],
  'a question before another computer': ['Edits wait', async () => (await twoEdits(), page.getByRole('combobox', { name: 'Computer and configuration' }).selectOption({ label: 'branch · own settings' }))],
  'a conflict': ['Store Mine', async () => {
    await twoEdits();
    all.home.run('set', compression, 'Level=1');
    await tab.apply().click();
  }],
  'work that can be stopped': ['seconds waited', async () => {
    await twoEdits();
    await tab.apply().click();
  }, holdStore],
};

for (const [what, [text, open, prepare]] of Object.entries(dialogs)) {
  test(`${what} is read, reached and hit by everyone`, async () => {
    const release = await prepare?.();
    try {
      await open();
      await tab.dialog().getByText(text).first().waitFor();
      await judgeAxe(what);
      assert.deepEqual(await judgeShape(what), []);
      assert.equal(await page.evaluate(() => document.getAnimations().length), 0, 'nothing moves for who wants no motion');
    } finally {
      await release?.();
      for (let i = 0; i < 5 && (await page.locator('dialog[open]').count()); ++i) {
        await page.keyboard.press('Escape');
        await page.waitForTimeout(300);
      }
      await until(() => page.locator('dialog[open]').count(), 0);
      if (await tab.cancel().isEnabled()) {
        await tab.cancel().click();
        await page.waitForTimeout(300);
        if (await page.locator('dialog[open]').count()) await inDialog('Discard').click();
      }
      await until(() => tab.cancel().isEnabled(), false);
    }
  }, what);
}

test('with the colours of the system a line shows what is selected and what waits', async () => {
  await page.emulateMedia({ forcedColors: 'active' });
  await tab.show(compression);
  await fill('Level', '4');
  await page.locator('.tree .mark').first().waitFor();
  await page.keyboard.press('Control+k');
  await page.keyboard.type('compression');
  const outline = (selector) => page.locator(selector).first().evaluate((element) => {
    const { outlineStyle, outlineWidth } = getComputedStyle(element);
    return outlineStyle !== 'none' && parseFloat(outlineWidth) >= 2;
  });
  for (const selector of ['.tree .row.selected', '.tree .mark', '.control.edited', '#found [aria-selected=true]']) {
    assert.equal(await outline(selector), true, selector);
  }
  await page.keyboard.press('Escape');
  await tab.cancel().click();
  await page.emulateMedia({ forcedColors: 'none' });
});

test('the drawer moves, but not for who wants no motion', async () => {
  await page.setViewportSize(narrow);
  for (const [reducedMotion, moves] of [['no-preference', true], ['reduce', false]]) {
    await page.emulateMedia({ reducedMotion });
    const moving = await page.evaluate(async () => {
      document.querySelector('.menu').click();
      await new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(done)));
      return document.getAnimations().length > 0;
    });
    assert.equal(moving, moves, reducedMotion);
    await page.getByRole('tree').focus();
    await page.keyboard.press('Escape');
  }
  await page.setViewportSize(wide);
});
