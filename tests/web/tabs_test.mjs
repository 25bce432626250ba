// Two tabs on one console: each has its own page and its own dialogs, over one set of edits.
import assert from 'node:assert/strict';
import { after, before } from 'node:test';
import { test } from './console.mjs';
import { start, until } from './task.mjs';

const compression = 'General Settings::Compression';
let all;
let one;
let other;

before(async () => {
  all = await start((home) => {
    home.run('set', compression, 'Enable Compression=on', 'Level=5');
    for (const name of ['rita', 'vera']) {
      home.run('user', 'add', name);
      const variables = `Users::${name}::Environment Variables`;
      for (const variable of ['A', 'B']) home.run('row', 'add', variables, `Variable=${variable}`, `Value=${name}`);
    }
  });
  one = all.tab;
  other = await all.another('General Settings');
});

after(() => all?.stop());

test('each tab stays on its page, and one Apply stores what waits in both', async () => {
  await one.show(compression);
  const level = one.page.getByRole('textbox', { name: 'Level' });
  const limit = other.page.getByRole('textbox', { name: 'Maximum Connections' });
  await level.press('End');
  await level.press('8');
  await limit.fill('31');
  await level.press('Home');
  await level.press('Delete');
  await until(() => level.inputValue(), '8');
  await until(() => limit.inputValue(), '31');
  await one.page.getByRole('button', { name: 'Changes on 2 pages wait' }).waitFor();
  await other.page.locator('.changed').waitFor();
  await one.applied();
  await other.says('Another tab has applied all changes.');
  await until(() => other.page.locator('.changed').count(), 0);
  assert.equal(all.home.value('SSHD', 'SessionLimit'), '31');
  assert.equal(all.home.value('SSHD', 'CompressionLevel'), '8');
  // On the page of both the one sees what the other does, and is told.
  await other.show(compression);
  await level.fill('2');
  await until(() => other.page.getByRole('textbox', { name: 'Level' }).inputValue(), '2');
  await other.says('Another tab has changed this page.');
  await other.cancel().click();
  await until(() => level.inputValue(), '8');
  await one.says('Another tab has discarded all changes.');
});

test('what is selected in one tab stays so while the other one goes elsewhere', async () => {
  const row = (tab, text) => tab.page.locator('#page').getByRole('row', { name: text });
  await one.show('Users::rita::Environment Variables');
  await row(one, /B/).click();
  await other.show('Users::vera::Environment Variables');
  await row(other, /A/).click();
  await until(() => other.page.getByRole('textbox', { name: 'Value' }).inputValue(), 'vera');
  await one.front();
  await one.page.getByRole('button', { name: 'Delete' }).click();
  await until(() => row(one, /B/).count(), 0);
  await until(() => row(one, /A/).count(), 1);
  await until(() => row(other, /[AB]/).count(), 2);
  // The other one is led away from the page of a user that goes.
  await one.show('Users');
  await other.show('Users::vera');
  await one.front();
  await one.page.locator('#page').getByRole('row', { name: 'vera' }).click();
  await one.page.getByRole('button', { name: 'Delete User' }).click();
  await one.dialog().getByRole('button', { name: 'Yes' }).click();
  await one.applied();
  await other.heading('Users');
});

test('a dialog belongs to the tab that has opened it, until the other one takes it over', async () => {
  await one.show('Users');
  await other.show('General Settings');
  await one.front();
  await one.page.getByRole('button', { name: 'New User' }).click();
  await other.page.getByText('Another tab of the console waits for an answer.').waitFor();
  await one.dialog().getByRole('textbox').first().fill('nina');
  await other.front();
  await other.page.keyboard.press('Escape');
  await other.page.getByRole('textbox', { name: 'Maximum Connections' }).fill('5');
  await other.says('Another tab of the console waits for an answer first.');
  await until(() => one.dialog().getByRole('textbox').first().inputValue(), 'nina');
  await other.page.getByRole('button', { name: 'Answer it here' }).click();
  await until(() => other.dialog().getByRole('textbox').first().inputValue(), 'nina');
  await until(() => one.page.locator('dialog[open]').count(), 0);
  await other.dialog().getByRole('button', { name: 'Cancel' }).click();
  await until(() => other.page.locator('dialog[open]').count(), 0);
  await other.heading('General Settings');
  // What a tab that goes has asked is asked in the other one.
  await one.front();
  await one.page.getByRole('button', { name: 'New User' }).click();
  await one.dialog().waitFor();
  await one.page.close();
  await other.dialog().waitFor();
  await other.page.keyboard.press('Escape');
  await until(() => other.page.locator('dialog[open]').count(), 0);
});
