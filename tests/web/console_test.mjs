// What an administrator does in the browser, and what the registry holds afterwards.
import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import { createRequire } from 'node:module';
import { join } from 'node:path';
import { after, before, beforeEach } from 'node:test';
import { Home, onWindows, pathOf, serve, startBrowser, test } from './console.mjs';
import { goTo, hash, until } from './task.mjs';

const axe = readFileSync(createRequire(import.meta.url).resolve('axe-core/axe.min.js'), 'utf8');
const compression = 'General Settings::Compression';

let home;
let console_;
let browser;
let page;
const said = [];

before(async () => {
  home = new Home();
  if (!onWindows) home.run('computer', 'add', 'branch');
  for (const name of ['site-a', 'site-b']) home.run('config', 'add', name);
  home.run('set', compression, 'Enable Compression=on', 'Level=5');
  if (!onWindows) home.run('--computer', 'branch', 'set', compression, 'Enable Compression=on', 'Level=5');
  console_ = await serve(home);
  browser = await startBrowser();
  page = await browser.context.newPage();
  page.on('console', (message) => said.push(`${message.type()}: ${message.text()}`));
  await page.goto(console_.address);
});

after(async () => {
  await browser?.stop();
  await console_?.stop();
  home?.remove();
});

const apply = () => page.locator('footer').getByRole('button', { name: /^Apply/ });
const cancel = () => page.locator('footer').getByRole('button', { name: 'Cancel' });
/** Cancel, and yes where more than one page is asked about. */
const discard = async () => {
  const pages = Number((await page.locator('footer .count').count()) && (await page.locator('footer .count').innerText()));
  await cancel().click();
  if (pages > 1) await page.getByRole('button', { name: 'Discard', exact: true }).click();
};
const level = () => page.getByRole('textbox', { name: 'Level' });
const slider = () => page.getByRole('slider');

async function show(node) {
  await page.evaluate(goTo, hash(node));
  await page.getByRole('heading', { level: 1, name: node.split('::').pop(), exact: true }).waitFor();
}

async function openUsers() {
  const users = page.getByRole('treeitem', { name: 'Users', exact: true });
  if ((await users.getAttribute('aria-expanded')) === 'false') await users.locator('.twist').click();
}

beforeEach(async () => {
  await show(compression);
  if (await cancel().isEnabled()) await discard();
  await until(() => apply().isEnabled(), false);
});

test('the slider moves the number, the number the slider, and Apply writes both', async () => {
  await slider().focus();
  await page.keyboard.press('ArrowRight');
  await until(() => level().inputValue(), '6');
  await level().fill('12');
  await level().blur();
  await until(() => level().inputValue(), '9');
  await until(() => slider().inputValue(), '9');
  // A letter is dropped where it was typed.
  await level().press('Home');
  await level().pressSequentially('a');
  await until(() => level().inputValue(), '9');
  await level().fill('3');
  await apply().click();
  await until(() => apply().isEnabled(), false);
  assert.equal(home.value('SSHD', 'CompressionLevel'), '3');
  assert.match(home.run('show', compression), /Level +edit +3/);
});

test('edits of two nodes are marked, counted, written by one Apply and dropped by Cancel', async () => {
  const marks = () => page.getByRole('tree').locator('.mark').count();
  const limit = page.getByRole('textbox', { name: 'Maximum Connections' });
  for (const [close, stored] of [[discard, false], [() => apply().click(), true]]) {
    await show(compression);
    await level().fill('4');
    await show('General Settings');
    await limit.fill('77');
    await until(() => page.locator('.count').innerText(), '2');
    await until(marks, 2);
    await close();
    await until(marks, 0);
    assert.equal(home.value('SSHD', 'SessionLimit') === '77', stored);
    assert.equal(home.value('SSHD', 'CompressionLevel') === '4', stored);
  }
});

test('each edit says what is stored; the review lists them all, puts one back, and a discard can be undone', async () => {
  const limit = page.getByRole('textbox', { name: 'Maximum Connections' });
  const stored = await level().inputValue();
  const other = stored === '4' ? '6' : '4';
  await level().fill(other);
  await page.locator('.changed').getByText(`was ${stored}`).waitFor();
  await show('General Settings');
  const connections = await limit.inputValue();
  await limit.fill('78');
  await page.getByRole('button', { name: 'Changes on 2 pages wait' }).click();
  const review = page.getByRole('dialog', { name: 'Changes that wait' });
  const rows = async () => (await review.locator('li').allInnerTexts()).map((text) => text.replace(/\s+/g, ' ').trim());
  await until(async () => (await rows()).length, 2);
  assert.deepEqual(await rows(), [`Maximum Connections ${connections || 'empty'} → 78 Revert`, `Level ${stored} → ${other} Revert`]);
  await review.getByRole('button', { name: `Revert Level of ${compression}` }).click();
  await until(async () => (await rows()).length, 1);
  await review.getByRole('button', { name: 'Close' }).click();
  await until(() => level().inputValue(), stored);
  await discard();
  await until(() => apply().isEnabled(), false);
  await page.getByRole('button', { name: 'Undo' }).click();
  await until(() => apply().isEnabled(), true);
  await apply().click();
  await page.getByText('Saved: 1 value on 1 page.').waitFor();
  assert.equal(home.value('SSHD', 'SessionLimit'), '78');
  assert.equal(home.value('SSHD', 'CompressionLevel'), stored);
});

test('users that were made or deleted come and go with what puts their list back', async () => {
  const node = (name) => page.getByRole('treeitem', { name });
  const make = async (name) => {
    await page.getByRole('button', { name: 'New User' }).click();
    await page.getByRole('textbox', { name: 'User Name' }).fill(name);
    await page.locator('dialog[open]').last().getByRole('button', { name: 'OK' }).click();
    await node(name).waitFor();
    // A new one is opened.
    await page.getByRole('heading', { level: 1, name, exact: true }).waitFor();
    await show('Users');
  };
  home.run('user', 'add', 'vera');
  await show('Users');
  await openUsers();
  await make('nina');
  await page.locator('#page').getByRole('row', { name: 'vera' }).click();
  await page.getByRole('button', { name: 'Delete User' }).click();
  await page.getByRole('button', { name: 'Yes' }).click();
  await until(() => node('vera').count(), 0);
  await page.getByRole('button', { name: /^Changes on/ }).click();
  await page.getByRole('button', { name: 'Revert all of Users', exact: true }).click();
  await node('vera').waitFor();
  await until(() => node('nina').count(), 0);
  await until(() => apply().isEnabled(), false);
  // A discard that is undone brings a new one back to the tree; an edit after a discard stays.
  await make('olga');
  await discard();
  await until(() => node('olga').count(), 0);
  await page.getByRole('button', { name: 'Undo' }).click();
  await node('olga').waitFor();
  await discard();
  await make('nina');
  await page.getByRole('button', { name: 'Undo' }).click();
  await page.getByText('There is nothing to bring back.').waitFor();
  assert.equal(await node('nina').count(), 1);
  await page.getByRole('button', { name: 'Dismiss' }).first().click();
  await discard();
});

test('an address that is none keeps its dialog open, and nothing of it is stored', async () => {
  await show('IP Range');
  await page.getByRole('button', { name: /^New/ }).first().click();
  const dialog = page.locator('dialog[open]').last();
  const fields = dialog.locator('input.address');
  for (const [begin, end] of [['10.0.0.1', '300.0.0.1'], ['10.0.0.12x', '10.0.0.13']]) {
    await fields.nth(0).fill(begin);
    await fields.nth(1).fill(end);
    await dialog.getByRole('button', { name: 'OK' }).click();
    await dialog.getByRole('alert').waitFor();
  }
  await dialog.getByRole('button', { name: 'Cancel' }).click();
  await until(() => page.locator('dialog[open]').count(), 0);
  assert.equal(await page.getByRole('treeitem', { name: /^(0\.0\.0\.0|10\.0\.0)/ }).count(), 0);
});

test('every setting says what it does, and help tells it all', async () => {
  await page.locator('.says').first().waitFor();
  await page.keyboard.press('F1');
  const help = page.getByRole('complementary', { name: 'Help' });
  await help.getByRole('heading', { name: 'Compression' }).waitFor();
  await help.getByText('Level', { exact: true }).waitFor();
  await help.getByRole('button', { name: 'Close help' }).click();
  assert.equal(await help.count(), 0);
});

test('closing the tab asks while edits wait', async () => {
  const asked = async () => {
    const other = await browser.context.newPage();
    await other.goto(console_.origin + '/' + hash(compression));
    await other.getByRole('heading', { level: 1 }).click();
    let question = false;
    other.on('dialog', (dialog) => ((question = dialog.type() === 'beforeunload'), void dialog.accept()));
    const closed = other.waitForEvent('close');
    await other.close({ runBeforeUnload: true });
    await closed;
    return question;
  };
  assert.equal(await asked(), false);
  await level().fill('2');
  await until(() => apply().isEnabled(), true);
  assert.equal(await asked(), true);
});

test('choosing another configuration shows the same page of it', async () => {
  const place = page.getByRole('combobox', { name: 'Computer and configuration' });
  await place.selectOption({ label: 'This computer · site-a' });
  // The page that was shown, and all that tells where one is.
  await until(() => page.locator('.crumbs').innerText(), 'site-a › General Settings');
  await place.selectOption({ label: 'This computer · site-b' });
  await until(() => page.locator('.crumbs').innerText(), 'site-b › General Settings');
  await page.getByRole('heading', { level: 1, name: 'Compression' }).waitFor();
  await until(() => page.title(), 'Compression – site-b – Marrowen');
  const address = () => page.evaluate(() => location.hash);
  await until(address, hash(compression) + '?configuration=site-b');
  // The way back leads over configurations, too, and all that tells where one is goes along.
  const chosen = () => place.locator('option:checked').innerText();
  await page.goBack();
  await until(chosen, 'This computer · site-a');
  await until(() => page.title(), 'Compression – site-a – Marrowen');
  await place.selectOption({ label: 'This computer · own settings' });
  await until(() => page.title(), 'Compression – Marrowen');
  await until(address, hash(compression));
  said.length = 0;
});

test('an address that was kept or sent leads to another computer, and Back from it', async () => {
  const place = page.getByRole('combobox', { name: 'Computer and configuration' });
  const chosen = () => place.locator('option:checked').innerText();
  const address = () => page.evaluate(() => location.hash);
  await page.evaluate((to) => (location.hash = to), hash(compression) + '?computer=nowhere');
  await until(address, hash(compression));
  await page.getByRole('status').getByText('nowhere').waitFor();
  await page.evaluate((to) => (location.hash = to), hash('Banner') + '?computer=branch');
  await until(() => page.title(), 'Banner – branch – Marrowen');
  await until(chosen, 'branch · own settings');
  await page.goBack();
  await until(() => page.title(), 'Compression – Marrowen');
  said.length = 0;
});

test('a named configuration is chosen at the top and holds settings of its own', async () => {
  const place = page.getByRole('combobox', { name: 'Computer and configuration' });
  const own = home.value('SSHD', 'SessionLimit');
  await place.selectOption({ label: 'This computer · site-b' });
  await page.locator('.crumbs', { hasText: 'site-b' }).waitFor();
  await page.getByRole('treeitem', { name: 'General Settings' }).click();
  await page.locator('.crumbs', { hasText: 'site-b' }).waitFor();
  await page.getByRole('textbox', { name: 'Maximum Connections' }).fill('41');
  await apply().click();
  await until(() => home.value('ConfigServer\\site-b\\SSHD', 'SessionLimit'), '41');
  assert.equal(home.value('ConfigServer\\site-a\\SSHD', 'SessionLimit'), null);
  assert.equal(home.value('SSHD', 'SessionLimit'), own);
  await place.selectOption({ label: 'This computer · own settings' });
  await until(() => page.title(), 'General Settings – Marrowen');
  said.length = 0;
});

test('a reload, a second tab and a new server show what they must', async () => {
  const was = await level().inputValue();
  await level().fill('8');
  await until(() => apply().isEnabled(), true);
  page.once('dialog', (dialog) => void dialog.accept());
  await page.reload();
  await until(() => level().inputValue(), '8');
  const second = await browser.context.newPage();
  await second.goto(console_.origin);
  const there = second.getByRole('textbox', { name: 'Level' });
  await until(() => there.inputValue(), '8');
  await there.fill('7');
  await until(() => level().inputValue(), '7');
  await second.close();
  // Edits live in the console: with it they go, and the page says so and comes back by itself.
  await console_.stop();
  await page.getByText('The console does not answer').waitFor();
  console_ = await serve(home, [], console_.port);
  await page.getByText('not let in').waitFor();
  await page.evaluate(() => window.addEventListener('beforeunload', (event) => event.stopImmediatePropagation(), true));
  await page.goto(console_.address);
  await page.evaluate((to) => (location.hash = to), hash(compression));
  await until(() => level().inputValue(), was);
  said.length = 0;
});

test('Back, a link, the search and the keyboard alone lead to a setting', async () => {
  await show('Banner');
  await page.goBack();
  await page.getByRole('heading', { level: 1, name: 'Compression' }).waitFor();
  await page.keyboard.press('Control+k');
  await page.keyboard.type('SessionLimit');
  await page.getByRole('option', { name: /Maximum Connections/ }).waitFor();
  await page.keyboard.press('Enter');
  await page.getByRole('heading', { level: 1, name: 'General Settings' }).waitFor();
  const limit = page.getByRole('textbox', { name: 'Maximum Connections' });
  await until(() => limit.evaluate((element) => element === document.activeElement), true);
  await page.keyboard.press('Control+a');
  await page.keyboard.type('55');
  await page.keyboard.press('Control+s');
  await until(() => home.value('SSHD', 'SessionLimit'), '55');
  await page.getByRole('tree').focus();
  await page.keyboard.press('ArrowDown');
  await page.getByRole('heading', { level: 1, name: 'Cipher' }).waitFor();
});

test('on a slow line the tree goes as far as the keys were pressed', async () => {
  const slow = await browser.context.newPage();
  await slow.routeWebSocket('**/api/socket', (line) => {
    const there = line.connectToServer();
    line.onMessage((text) => setTimeout(() => there.send(text), 200));
  });
  await slow.goto(console_.origin + '/' + hash('Banner'));
  const tree = slow.getByRole('tree');
  await tree.locator('.row.selected.active', { hasText: 'Banner' }).waitFor();
  // The rows that the keys go over have come, too.
  await tree.locator('.row', { hasText: 'GSSAPI Options' }).waitFor();
  await tree.focus();
  for (const node of ['GSSAPI Options', 'X.509 Certificate Options', 'Public Key Options']) {
    await slow.keyboard.press('ArrowUp');
    await tree.locator('.row.active', { hasText: node }).waitFor();
  }
  await slow.getByRole('heading', { level: 1, name: 'Public Key Options' }).waitFor();
  await slow.close();
});

test('settings are exported by a download, and imported by an upload that a preview comes before', async () => {
  const dialog = page.locator('dialog[open]').last();
  const press = (name) => dialog.getByRole('button', { name, exact: true }).click();
  const closed = () => until(() => page.locator('dialog[open]').count(), 0);
  const level = () => home.value('SSHD', 'CompressionLevel');
  await show('Configuration Management');
  await page.getByRole('button', { name: 'Export Settings', exact: true }).click();
  await dialog.getByRole('textbox', { name: 'File name' }).fill('mine');
  const download = page.waitForEvent('download');
  await press('Download');
  // Questions come before the file is written, and the file is fetched only then.
  await dialog.getByText('Do you want to export cached authentication keys?').waitFor();
  await press('No');
  await dialog.getByText('Settings saved in mine.xml.', { exact: true }).waitFor();
  await press('OK');
  assert.equal((await download).suggestedFilename(), 'mine.xml');
  const file = join(home.folder, 'mine.xml');
  await (await download).saveAs(file);
  assert.match(readFileSync(file, 'utf8'), /<product name="Tessel Marrowen SSH Server"\/>/);
  assert.deepEqual(home.temporaryFiles(), [], 'a fetched file is deleted');

  // A name without an ending gets one, and may then be that of a file that is there. What does not come back is said.
  home.run('set', 'Users::Default', "Home Directory=C:\\it's");
  const nameOf = async (whole) => {
    if (onWindows) return pathOf(join(home.folder, 'kept'));
    return whole ? `${await dialog.locator('.path', { hasText: '\\' }).innerText()}\\kept` : 'kept';
  };
  for (const asks of [false, true]) {
    await page.getByRole('button', { name: 'Export Settings', exact: true }).click();
    await dialog.getByRole('textbox', { name: 'File name' }).fill(await nameOf(asks));
    await press('Save');
    if (asks) {
      await dialog.getByText('kept.xml already exists. Press Replace to write over it.').waitFor();
      await press('Replace');
    }
    await press('No');
    await dialog.getByText(/^Settings saved in .*kept\.xml\.$/).waitFor();
    await press('OK');
    await dialog.getByRole('heading', { name: 'Not Whole' }).waitFor();
    assert.match(await dialog.locator('.row').last().innerText(), /^Users > Default\s+Home Directory\s+It does not come back: the "'" in it/);
    await press('Close');
    await closed();
  }
  home.run('set', 'Users::Default', 'Home Directory=');

  const exported = level();
  home.run('set', compression, 'Level=1');
  for (const [answer, wanted] of [['Cancel', '1'], ['Import', exported]]) {
    await page.getByRole('button', { name: 'Import Settings', exact: true }).click();
    await press('Yes');
    const chooser = page.waitForEvent('filechooser');
    await press('Upload');
    await (await chooser).setFiles(file);
    await dialog.getByText(/^The import adds 0 and changes 1;/).waitFor();
    await dialog.getByRole('row', { name: `changed General Settings > Compression Level 1 ${exported}` }).waitFor();
    assert.equal(level(), '1');
    await press(answer);
    await dialog.getByText(answer === 'Import' ? 'Settings from mine.xml imported.' : 'Unable to Import').waitFor();
    await press('OK');
    await closed();
    assert.equal(level().replace('\0', ''), wanted);
    assert.deepEqual(home.temporaryFiles(), [], 'a read file is deleted');
  }
});

test('a page opens at its top', async () => {
  await page.setViewportSize({ width: 800, height: 400 });
  await show('Configuration Management');
  const scrolled = () => page.evaluate(() => document.querySelector('main').scrollTop > 0);
  await page.evaluate(() => document.querySelector('main').scrollTo(0, 300));
  assert.equal(await scrolled(), true);
  await show('General Settings');
  assert.equal(await scrolled(), false);
  await page.setViewportSize({ width: 1280, height: 800 });
});

test('a user is added and deleted through dialogs, by keys', async () => {
  await show('Users');
  const dialog = page.locator('dialog[open]').last();
  const press = async (name) => {
    await page.getByRole('button', { name }).focus();
    await page.keyboard.press('Enter');
    await dialog.waitFor();
  };
  const closed = () => until(() => page.locator('dialog[open]').count(), 0);
  const alice = page.getByRole('treeitem', { name: 'alice' });
  await press('New User');
  await page.keyboard.press('Escape');
  await closed();
  // A message above the dialog's page, and the dialog again.
  await press('New User');
  await page.keyboard.press('Enter');
  await page.getByText('Must enter user name.').waitFor();
  await page.keyboard.press('Enter');
  await page.getByRole('textbox', { name: 'User Name' }).waitFor();
  await page.keyboard.type('alice');
  await page.keyboard.press('Enter');
  await closed();
  await alice.waitFor();
  await page.getByRole('heading', { level: 1, name: 'alice', exact: true }).waitFor();
  await show('Users');
  await page.getByRole('grid', { name: 'Users' }).focus();
  await page.keyboard.press('Home');
  await page.locator('#page .row.selected').getByText('alice').waitFor();
  // Enter right away changes nothing.
  await press('Delete User');
  await page.getByText('Are you sure').waitFor();
  await page.keyboard.press('Enter');
  await closed();
  assert.equal(await alice.count(), 1);
  await press('Delete User');
  await page.keyboard.press('Shift+Tab');
  await page.keyboard.press('Enter');
  await closed();
  await until(() => alice.count(), 0);
});

test('what an act changes on other nodes is told, and Cancel gives a deleted user back to the tree', async () => {
  const ssh1 = page.getByRole('checkbox', { name: 'Allow SSH1 protocol' });
  home.run('user', 'add', 'rita');
  await show('General Settings::Cipher');
  await show('General Settings');
  await ssh1.uncheck();
  await apply().click();
  await until(() => apply().isEnabled(), false);
  await ssh1.check();
  await page.getByText('This changes "General Settings::Cipher" too.').waitFor();
  await discard();
  await until(() => apply().isEnabled(), false);

  await show('Users');
  const node = page.getByRole('treeitem', { name: 'rita', exact: true });
  await page.getByRole('treeitem', { name: 'Users', exact: true }).press('ArrowRight');
  await page.locator('#page').getByRole('row', { name: 'rita' }).click();
  await page.getByRole('button', { name: 'Delete User' }).click();
  await page.getByRole('button', { name: 'Yes' }).click();
  await until(() => node.count(), 0);
  await discard();
  await node.waitFor();
});

test('a page that refuses is shown with its reason, and nothing of the whole Apply is stored', async () => {
  const before = home.value('SSHD', 'CompressionLevel');
  await show('Logging');
  await page.getByRole('checkbox', { name: 'Log input from client' }).click();
  await show('Users');
  await openUsers();
  const nina = page.getByRole('treeitem', { name: 'nina' });
  await page.getByRole('button', { name: 'New User' }).click();
  await page.getByRole('textbox', { name: 'User Name' }).fill('nina');
  await page.locator('dialog[open]').last().getByRole('button', { name: 'OK' }).click();
  await nina.waitFor();
  await page.getByRole('heading', { level: 1, name: 'nina', exact: true }).waitFor();
  const pages = await page.locator('footer .count').innerText();
  await show(compression);
  await level().fill('3');
  await level().blur();
  const all = String(Number(pages) + 1);
  await until(() => page.locator('.count').innerText(), all);
  await apply().click();
  await page.getByRole('heading', { level: 1, name: 'Logging', exact: true }).waitFor();
  await page.getByText('Please enter a valid directory for log files. Nothing was stored').first().waitFor();
  assert.equal(home.value('SSHD', 'CompressionLevel'), before);
  assert.equal(home.value('SSHD', 'LogInput'), null);
  await until(() => page.locator('.count').innerText(), all);
  assert.equal(await nina.count(), 1, 'whoever waits stays in the tree');
  // The box that was ticked still is, and with a folder for it all is stored.
  await page.getByRole('textbox', { name: 'Directory:' }).fill('/tmp');
  await page.getByRole('textbox', { name: 'Directory:' }).blur();
  await apply().click();
  await until(() => apply().isEnabled(), false);
  assert.equal(home.value('SSHD', 'LogInput'), 'yes');
  assert.equal(home.value('SSHD', 'CompressionLevel'), '3');
});

test('another computer is chosen at the top, after a question when edits wait', async () => {
  await level().fill('2');
  await until(() => apply().isEnabled(), true);
  const place = page.getByRole('combobox', { name: 'Computer and configuration' });
  const chosen = () => place.locator('option:checked').innerText();
  await place.selectOption({ label: 'branch · own settings' });
  await page.getByRole('button', { name: 'Stay' }).click();
  await until(chosen, 'This computer · own settings');
  await until(() => level().inputValue(), '2');
  await place.selectOption({ label: 'branch · own settings' });
  await page.getByRole('button', { name: 'Drop edits' }).click();
  await until(() => page.title(), 'Compression – branch – Marrowen');
  await show(compression);
  await level().fill('1');
  await apply().click();
  await until(() => apply().isEnabled(), false);
  assert.match(home.run('--computer', 'branch', 'show', compression), /Level +edit +1/);
  await place.selectOption({ label: 'This computer · own settings' });
  // Each computer shows the same page.
  await until(() => level().inputValue(), '3');
  await page.getByRole('heading', { level: 1, name: 'Compression' }).waitFor();
  said.length = 0;
});

test('every page can be used by everyone, light and dark, wide and narrow', async () => {
  const nodes = JSON.parse(home.run('--json', 'tree')).data.filter((node) => node.page).map((node) => node.node);
  await page.evaluate(axe);
  for (const colorScheme of ['light', 'dark']) {
    await page.emulateMedia({ colorScheme, reducedMotion: 'reduce' });
    for (const node of nodes) {
      await show(node);
      const { violations } = await page.evaluate(() => axe.run(document, { resultTypes: ['violations'] }));
      const found = violations.map(({ id, nodes: where }) => `${id}: ${where.map((one) => one.html).join(' ')}`);
      assert.deepEqual(found, [], `${node}, ${colorScheme}`);
      const wide = await page.evaluate(() => document.documentElement.scrollWidth <= innerWidth);
      assert.ok(wide, `${node} scrolls sideways`);
    }
    await show(compression);
    if (await cancel().isEnabled()) await discard();
    await level().fill('6');
    await until(() => page.locator('.count').innerText(), '1');
    await page.setViewportSize({ width: 360, height: 740 });
    const narrow = await page.evaluate(() => document.documentElement.scrollWidth <= innerWidth);
    assert.ok(narrow, 'the page scrolls sideways at 360 pixels');
    await page.getByRole('button', { name: 'Settings tree' }).click();
    await page.getByRole('treeitem', { name: 'Banner' }).click();
    await page.getByRole('heading', { level: 1, name: 'Banner' }).waitFor();
    await page.setViewportSize({ width: 1280, height: 800 });
  }
  assert.deepEqual(said, []);
});
