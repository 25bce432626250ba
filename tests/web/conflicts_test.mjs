// Another program changes what a person is about to change: both values are shown, and the person decides.
import assert from 'node:assert/strict';
import { after, before } from 'node:test';
import { test } from './console.mjs';
import { start, until } from './task.mjs';

const compression = 'General Settings::Compression';
let all;
let tab;
let level;

before(async () => {
  all = await start((home) => void home.run('set', compression, 'Enable Compression=on', 'Level=5'));
  tab = all.tab;
  level = tab.page.getByRole('textbox', { name: 'Level' });
});

after(() => all?.stop());

const stored = () => all.home.value('SSHD', 'CompressionLevel');

/** The person's number waits, and so does a new limit on another page, when another program stores its own number. */
async function meet(theirs, mine) {
  await tab.show('General Settings');
  await tab.page.getByRole('textbox', { name: 'Maximum Connections' }).fill(theirs);
  await tab.show(compression);
  await level.fill(mine);
  await level.blur();
  await tab.page.getByRole('button', { name: 'Changes on 2 pages wait' }).waitFor();
  all.home.run('set', compression, `Level=${theirs}`);
  await tab.apply().click();
  await tab.dialog().getByRole('row', { name: `General Settings > Compression Level ${theirs} ${mine}`, exact: true }).waitFor();
  assert.equal(stored(), theirs);
  // The limit, which nobody else has changed, is none of the question.
  assert.equal(await tab.dialog().getByRole('row').count(), 2);
}

const press = (name) => tab.dialog().getByRole('button', { name, exact: true }).click();

test('who has another value stored meanwhile is not overwritten unseen', async () => {
  await meet('6', '3');
  await press('Cancel');
  await until(() => level.inputValue(), '3');
  await until(() => tab.apply().isEnabled(), true);
  assert.equal(stored(), '6');
  await tab.apply().click();
  await press('Store Mine');
  await tab.says('Saved: ');
  assert.equal(stored(), '3');
  assert.equal(all.home.value('SSHD', 'SessionLimit'), '6');
});

test('what is stored is taken for the pages concerned, and all else waits', async () => {
  await meet('7', '4');
  await press('Take What Is Stored');
  await until(() => level.inputValue(), '7');
  await tab.page.getByRole('button', { name: 'Changes on 1 page wait' }).waitFor();
  assert.equal(all.home.value('SSHD', 'SessionLimit'), '6');
  await level.fill('2');
  await tab.applied();
  assert.equal(stored(), '2');
  assert.equal(all.home.value('SSHD', 'SessionLimit'), '7');
});

test('what a page adds by itself is told as that, until somebody edits it', async () => {
  const added = tab.page.getByText('1 setting is not stored yet: the page adds what is missing');
  await tab.show('General Settings::MAC');
  await added.waitFor();
  await tab.page.locator('#page .row .tick').first().click();
  await until(() => added.count(), 0);
  await tab.cancel().click();
  await tab.show(compression);
  assert.equal(await tab.page.getByText('not stored yet').count(), 0);
});
