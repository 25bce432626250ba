// Whole tasks of an administrator: by the keyboard alone, and across a server that starts anew.
import assert from 'node:assert/strict';
import { join } from 'node:path';
import { after, before } from 'node:test';
import { pathOf, serve, test } from './console.mjs';
import { start, until } from './task.mjs';

const compression = 'General Settings::Compression';
let all;
let tab;
let page;
let keys;
let file;

before(async () => {
  all = await start((home) => {
    home.run('user', 'add', 'rita');
    home.run('set', compression, 'Enable Compression=on', 'Level=5');
    file = join(home.folder, 'kept.xml');
    home.run('export', file, '--credentials', 'no');
    home.run('set', compression, 'Level=7');
  }, (home) => ['--files', home.folder]);
  ({ tab } = all);
  ({ page } = tab);
  keys = page.keyboard;
});

after(() => all?.stop());

const stored = (key, name) => all.home.value(key, name) ?? null;
const focused = (locator) => locator.evaluate((element) => element === document.activeElement).catch(() => false);
const press = async (...all) => { for (const key of all) await keys.press(key); };

/** Goes on by Tab to what is looked for; it is there, and within reach. */
async function tabTo(locator, key = 'Tab') {
  await locator.waitFor();
  for (let i = 0; i < 150; ++i) {
    if (await focused(locator)) return;
    await keys.press(key);
  }
  assert.fail(`${key} does not come to ${locator}`);
}

const button = (name) => page.getByRole('button', { name });
const closed = () => until(() => page.locator('dialog[open]').count(), 0);

/** Searches, and goes down to the answer of that text. */
async function find(text, wanted) {
  await keys.press('Control+k');
  await keys.type(text);
  await page.getByRole('option').filter({ hasText: wanted }).first().waitFor();
  const active = page.locator('[role=option][aria-selected=true]');
  for (let i = 0; i < 30 && !wanted.test(await active.innerText()); ++i) await keys.press('ArrowDown');
  assert.match(await active.innerText(), wanted);
  await keys.press('Enter');
}

test('two settings are found, changed, looked over, one put back and the other stored, by keys', async () => {
  await find('authentication attempts', /Number of authentication attempts/);
  await tab.heading('Authentication');
  await until(() => focused(page.getByRole('textbox', { name: 'Number of authentication attempts' })), true);
  await press('Control+a');
  await keys.type('3');
  await find('rita', /rita/);
  await tab.heading('rita');
  await tabTo(page.getByRole('checkbox', { name: 'User Session Limit' }));
  await press('Space');
  const limit = page.getByRole('textbox', { name: 'User Session Limit' });
  await until(() => limit.isEnabled(), true);
  await tabTo(limit);
  await press('Control+a');
  await keys.type('9');
  await tabTo(button('Changes on 2 pages wait'));
  await press('Enter');
  const review = page.getByRole('dialog', { name: 'Changes that wait' });
  await tabTo(review.getByRole('button', { name: 'Revert Number of authentication attempts of Authentication' }));
  await press('Enter');
  await until(() => review.locator('section').count(), 1);
  await press('Escape');
  await closed();
  await press('Control+s');
  await until(() => stored('SSHD\\Users\\rita', 'SessionLimit'), '9');
  assert.equal(stored('SSHD', 'AuthAttemptLimit'), null);
});

test('a range is added as a network by Tab and Enter', async () => {
  await tabTo(page.getByRole('tree'));
  await press('End', 'ArrowUp');
  await tab.heading('IP Range');
  await tabTo(button('New IP Range'));
  await press('Enter');
  await until(() => focused(tab.dialog().locator('input.address').first()), true);
  await keys.type('10.0.0.0/24');
  await tabTo(tab.dialog().getByRole('button', { name: 'OK' }));
  await press('Enter');
  await tab.heading('10.0.0.0-10.0.0.255');
  await tabTo(tab.apply());
  await press('Enter');
  await until(() => all.home.run('range', 'list').trim(), '10.0.0.0-10.0.0.255');
});

test('an import is looked at and not done, and a restore is declined, by keys', async () => {
  await tab.show('Configuration Management');
  await tabTo(button('Import Settings'));
  await press('Enter');
  await tabTo(tab.dialog().getByRole('button', { name: 'Yes' }), 'Shift+Tab');
  await press('Enter');
  await until(() => focused(tab.dialog().getByRole('textbox', { name: 'File name' })), true);
  await keys.type(pathOf(file));
  await press('Enter');
  await tab.dialog().getByRole('row', { name: 'changed General Settings > Compression Level 7 5' }).waitFor();
  await press('Escape');
  await tab.dialog().getByText('Unable to Import').waitFor();
  await press('Enter');
  await closed();
  assert.equal(stored('SSHD', 'CompressionLevel'), '7');
  const before = all.home.exported();
  await tabTo(button('Restore Settings'));
  await press('Enter');
  await tab.dialog().getByText('Are you sure you want to restore').waitFor();
  // Who has not read it changes nothing.
  await press('Enter');
  await closed();
  assert.equal(await focused(button('Restore Settings')), true, 'a person is back where the question came up');
  assert.equal(all.home.exported(), before);
});

test('help opens by F1 beside what is edited, and closes by Escape', async () => {
  await tab.show(compression);
  await tabTo(page.getByRole('textbox', { name: 'Level' }));
  await press('F1');
  await page.getByRole('complementary', { name: 'Help' }).waitFor();
  await press('Escape');
  await until(() => page.getByRole('complementary', { name: 'Help' }).count(), 0);
  assert.equal(await focused(page.getByRole('textbox', { name: 'Level' })), true);
});

test('a tab comes back on its page when its console has started anew and another tab was let in', async () => {
  await tab.show('Banner');
  await all.console_.stop();
  await tab.says('The console does not answer.');
  all.console_ = await serve(all.home, ['--files', all.home.folder], all.console_.port);
  await tab.says('This browser is not let in any more.');
  const other = await all.browser.context.newPage();
  await other.goto(all.console_.address);
  await other.getByRole('heading', { level: 1, name: 'General Settings' }).waitFor();
  await until(() => page.locator('.status').getByText('not let in').count(), 0);
  await tab.heading('Banner');
  await tab.show(compression);
  await page.getByRole('textbox', { name: 'Level' }).fill('2');
  await tab.front();
  await page.keyboard.press('Control+s');
  await until(() => stored('SSHD', 'CompressionLevel'), '2');
  await other.close();
});
