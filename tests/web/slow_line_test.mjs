// On a slow line nothing that is typed is lost or goes elsewhere, before the console has answered.
import assert from 'node:assert/strict';
import { after, before } from 'node:test';
import { test } from './console.mjs';
import { hash, start, until } from './task.mjs';

const compression = 'General Settings::Compression';
let all;

before(async () => {
  all = await start();
});

after(() => all?.stop());

const stored = (name) => all.home.value('SSHD', name);

/** A tab whose line holds what is sent, once it is told to, until it is let through. */
async function tabOnSlowLine(node) {
  const page = await all.browser.context.newPage();
  let held = null;
  let send;
  await page.routeWebSocket('**/api/socket*', (line) => {
    const there = line.connectToServer();
    send = (text) => there.send(text);
    line.onMessage((text) => (held ? held.push(text) : send(text)));
  });
  await page.goto(all.console_.origin + '/' + hash(node));
  return {
    page,
    hold: () => (held = []),
    letThrough: () => {
      held.forEach(send);
      held = null;
    },
  };
}

test('on a slow line it is said that the console works, and nothing that was typed is lost', async () => {
  const slow = await tabOnSlowLine('General Settings');
  const limit = slow.page.getByRole('textbox', { name: 'Maximum Connections' });
  await limit.focus();
  slow.hold();
  await slow.page.keyboard.press('Control+a');
  await slow.page.keyboard.type('12');
  await slow.page.locator('.status').getByText('Working…').waitFor();
  await slow.page.keyboard.type('34');
  await slow.page.keyboard.press('Control+s');
  assert.equal(await limit.inputValue(), '1234');
  slow.letThrough();
  await until(() => stored('SessionLimit'), '1234');
  assert.equal(await limit.inputValue(), '1234');
  await slow.page.close();
});

test('what is typed behind a tick goes to the field that it enables, before it is enabled', async () => {
  const slow = await tabOnSlowLine(compression);
  const tick = slow.page.getByRole('checkbox', { name: 'Enable Compression' });
  const level = slow.page.getByRole('textbox', { name: 'Level' });
  await tick.focus();
  assert.equal(await level.isEnabled(), false);
  slow.hold();
  await slow.page.keyboard.press('Space');
  await slow.page.keyboard.press('Tab');
  await slow.page.keyboard.press('Control+a');
  await slow.page.keyboard.type('4');
  await slow.page.keyboard.press('Control+s');
  slow.letThrough();
  await until(() => stored('CompressionLevel'), '4');
  assert.equal(await tick.isChecked(), true);
  await slow.page.close();
});

test('what can be reached only while an act is on its way is refused and drawn back', async () => {
  const slow = await tabOnSlowLine('Print Monitor');
  const records = slow.page.getByRole('checkbox', { name: 'Record Print Jobs to Event Log' });
  const saves = slow.page.getByRole('checkbox', { name: 'Save Printed Files' });
  await records.focus();
  slow.hold();
  await slow.page.keyboard.press('Space');
  await saves.focus();
  await slow.page.keyboard.press('Space');
  assert.deepEqual([await records.isChecked(), await saves.isChecked()], [true, true]);
  slow.letThrough();
  await slow.page.locator('.status').getByText('"Save Printed Files" is disabled: it depends on "Enable Printer Monitoring".').waitFor();
  await until(() => saves.isChecked(), false);
  assert.deepEqual([await records.isChecked(), await saves.isEnabled()], [true, false]);
  await slow.page.locator('footer').getByRole('button', { name: 'Cancel' }).click();
  await until(() => records.isChecked(), false);
  await slow.page.close();
});

test('a choice is shown as it was made, and stays', async () => {
  const slow = await tabOnSlowLine('Authentication::Password Options');
  const choice = slow.page.locator('#page select').first();
  const [before, made] = await choice.evaluate(({ selectedIndex }) => [selectedIndex, selectedIndex ? 0 : 1].map(String));
  slow.hold();
  await choice.selectOption({ index: Number(made) });
  await slow.page.locator('.status').getByText('Working…').waitFor();
  assert.equal(await choice.inputValue(), made);
  slow.letThrough();
  const cancel = slow.page.locator('footer').getByRole('button', { name: 'Cancel' });
  await until(() => cancel.isEnabled(), true);
  assert.equal(await choice.inputValue(), made);
  await cancel.click();
  await until(() => choice.inputValue(), before);
  await slow.page.close();
});

test('a row is ticked as often as its key is pressed, before the console has answered', async () => {
  const slow = await tabOnSlowLine('General Settings::MAC');
  const row = slow.page.getByRole('option', { name: 'hmac-md5-96' });
  await row.click();
  slow.hold();
  for (const checked of [false, true, false]) {
    await slow.page.keyboard.press('Space');
    await until(() => row.isChecked(), checked);
  }
  await slow.page.keyboard.press('Control+s');
  slow.letThrough();
  await until(() => /\[ \] hmac-md5-96\n/.test(all.home.run('show', 'General Settings::MAC')), true);
  assert.equal(await row.isChecked(), false);
  await slow.page.close();
});

test('rows that are typed in place keep what is typed when one before them goes, and Enter takes it', async () => {
  const slow = await tabOnSlowLine('Authentication::X.509 Certificate Options');
  const keys = slow.page.keyboard;
  const rows = slow.page.getByRole('group', { name: 'EKUs' }).getByRole('textbox');
  const texts = () => rows.evaluateAll((all) => all.map(({ value }) => value).join(' '));
  await slow.page.getByRole('button', { name: 'Edit EKUs' }).click();
  await rows.last().focus();
  for (const [typed, shown] of [['1.2', '1.2 '], ['3.4', '1.2 3.4 '], ['5.6', '1.2 3.4 5.6 ']]) {
    await keys.type(typed);
    await keys.press('Enter');
    await until(texts, shown);
  }
  await rows.first().focus();
  slow.hold();
  for (const key of ['Control+a', 'Delete', 'Tab', 'Tab', 'End', '7', 'Enter', 'Tab']) await keys.press(key);
  slow.letThrough();
  await until(texts, '3.47 5.6 ');
  await rows.last().focus();
  await keys.type('8.9');
  await keys.press('Enter');
  await until(texts, '3.47 5.6 8.9 ');
  await keys.press('Enter');
  await until(() => slow.page.locator('dialog[open]').count(), 0);
  assert.equal(stored('ValidCertificateEKUs'), '3.47\x005.6\x008.9\0');
  await slow.page.close();
});
