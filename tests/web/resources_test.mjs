// Users, groups and ranges as tables: to find, open, rank and delete them, several at once.
import assert from 'node:assert/strict';
import { after, before } from 'node:test';
import { onWindows, test } from './console.mjs';
import { start, until } from './task.mjs';

let all;
let tab;
let page;

before(async () => {
  all = await start((home) => {
    for (const name of ['rita', 'Vera', 'anna']) home.run('user', 'add', name);
    for (const name of onWindows ? [] : ['Users', 'Guests', 'Backup Operators']) home.run('group', 'add', name);
    home.run('range', 'add', '10.0.0.5');
    home.run('range', 'add', '10.0.0.9', '10.0.0.1');
  });
  tab = all.tab;
  page = tab.page;
});

after(() => all?.stop());

const grid = () => page.locator('#page').getByRole('grid');
const row = (name) => grid().getByRole('row', { name });
const names = async () => (await grid().locator('.opens').allInnerTexts()).join(' ');
const list = (kind) => all.home.run(kind, 'list').trim().split('\n').join(' ');

test('rows are filtered, sorted, opened by click and Enter, and a new one is opened', async () => {
  await tab.show('Users');
  await until(names, 'anna Default rita Vera');
  await page.getByRole('searchbox', { name: 'Filter Users' }).fill('ra');
  await until(names, 'Vera');
  await page.getByText('1 of 4').waitFor();
  await page.getByRole('searchbox', { name: 'Filter Users' }).fill('');
  const head = grid().getByRole('button', { name: /^Name/ });
  await head.click();
  await until(names, 'anna Default rita Vera');
  await head.click();
  await until(names, 'Vera rita Default anna');
  await grid().focus();
  await page.keyboard.press('Home');
  // What the page's own buttons are for is what is marked, whatever the order.
  const marked = () => grid().getByRole('row', { selected: true }).locator('.opens').allInnerTexts();
  await page.keyboard.press('Delete');
  await tab.dialog().getByText('Vera').waitFor();
  assert.deepEqual(await marked(), ['Vera']);
  await tab.dialog().getByRole('button', { name: 'No' }).click();
  await until(() => page.locator('dialog[open]').count(), 0);
  await page.getByRole('searchbox', { name: 'Filter Users' }).fill('r');
  await until(names, 'Vera rita');
  assert.deepEqual(await marked(), ['Vera']);
  await page.getByRole('searchbox', { name: 'Filter Users' }).fill('an');
  await until(names, 'anna');
  assert.deepEqual(await marked(), []);
  await page.getByRole('searchbox', { name: 'Filter Users' }).fill('');
  await until(names, 'Vera rita Default anna');
  await grid().focus();
  await page.keyboard.press('Enter');
  await tab.heading('Vera');
  await tab.show('Users');
  await grid().getByText('rita', { exact: true }).click();
  await tab.heading('rita');
  await tab.show('Users');
  await page.getByRole('button', { name: 'New User' }).click();
  await tab.dialog().getByRole('textbox').first().fill('olga');
  await page.keyboard.press('Enter');
  await tab.heading('olga');
  // What is edited there is stored with it.
  await page.getByText('This is new: its settings are stored with the next Apply.').waitFor();
  await page.getByRole('checkbox', { name: 'Session Limit' }).check();
  await page.getByRole('textbox', { name: 'Session Limit' }).fill('7');
  await tab.applied();
  assert.equal(all.home.value('SSHD\\Users\\olga', 'SessionLimit'), '7');
  all.home.run('user', 'delete', 'olga');
  await tab.show('Banner');
});

test('several are deleted after one question, and none before it', async () => {
  await tab.show('Users');
  for (const name of ['anna', 'Vera']) await row(name).locator('.tick').click();
  const remove = page.getByRole('button', { name: 'Delete User (2)' });
  await remove.click();
  await tab.dialog().getByRole('button', { name: 'Keep' }).click();
  await until(names, 'anna Default rita Vera');
  await remove.click();
  await tab.dialog().getByRole('button', { name: 'Delete' }).click();
  await until(names, 'Default rita');
  assert.equal(list('user'), 'anna Default rita Vera');
  await tab.applied();
  assert.equal(list('user'), 'Default rita');
});

test('a rank changes by Alt and an arrow, by a number and by drag', async () => {
  await tab.show('Groups');
  const groups = (...order) => order.map((name) => `BUILTIN\\${name}`).join(' ');
  await until(names, groups('Users', 'Guests', 'Backup Operators'));
  await row('Users').locator('.rank').click();
  await page.keyboard.press('Alt+ArrowDown');
  await until(names, groups('Guests', 'Users', 'Backup Operators'));
  await page.getByRole('button', { name: 'Move to…' }).click();
  await page.getByRole('textbox', { name: 'Rank' }).fill('3');
  await page.keyboard.press('Enter');
  await until(names, groups('Guests', 'Backup Operators', 'Users'));
  await row('Users').locator('.rank').dragTo(row('Guests'));
  await until(names, groups('Users', 'Guests', 'Backup Operators'));
  await row('Guests').locator('.rank').dragTo(row('Backup Operators'));
  await until(names, groups('Users', 'Backup Operators', 'Guests'));
  await tab.applied();
  assert.equal(list('group'), groups('Users', 'Backup Operators', 'Guests'));
});

test('a network is typed as one, a single address shown once, a reversed range marked', async () => {
  await tab.show('IP Range');
  await until(names, '10.0.0.5 10.0.0.9-10.0.0.1');
  await row('10.0.0.9').getByText('ends before it begins and matches nobody').waitFor();
  await page.getByRole('button', { name: 'New IP Range' }).click();
  await tab.dialog().locator('input.address').first().fill('10.1.2.77/22');
  await tab.dialog().getByRole('button', { name: 'OK' }).click();
  await tab.heading('10.1.0.0-10.1.3.255');
  await tab.applied();
  assert.match(list('range'), /10\.1\.0\.0-10\.1\.3\.255/);
});
