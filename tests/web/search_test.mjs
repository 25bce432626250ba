// The search: several words, misspelled ones, other words for the same, values, people, and what waits.
import assert from 'node:assert/strict';
import { after, before } from 'node:test';
import { test } from './console.mjs';
import { start, until } from './task.mjs';

let all;
let tab;
let page;

before(async () => {
  all = await start((home) => {
    for (const name of ['rita', 'olga']) home.run('user', 'add', name);
    home.run('set', 'General Settings::Compression', 'Enable Compression=on', 'Level=4');
    home.run('set', 'Banner', 'Splash Banner=Good morning, harbour');
  });
  tab = all.tab;
  page = tab.page;
});

after(() => all?.stop());

const field = () => page.getByRole('combobox', { name: 'Search settings' });
/** Types and waits for the first answer of the group. */
async function first(text, group) {
  await page.keyboard.press('Control+k');
  await field().fill(text);
  return page.getByRole('group', { name: group }).getByRole('option').first();
}

test('words in any order, small misspellings, other words and stored names lead to a setting', async () => {
  for (const [text, name] of [
    // None expects what the one before it has found.
    ['connections max', 'Maximum Connections'],
    ['bandwidth', 'Enable Compression'],
    ['maximun conections', 'Maximum Connections'],
    ['splsah', 'Splash Banner'],
    ['sessionlimit', 'Maximum Connections'],
  ]) {
    const option = await first(text, 'Settings');
    await until(async () => (await option.count()) > 0 && (await option.innerText()).includes(name), true);
  }
  const option = await first('connections max', 'Settings');
  await until(async () => (await option.locator('mark').allInnerTexts()).join(), 'Max,Connections');
  await option.click();
  await tab.heading('General Settings');
  await until(() => page.evaluate(() => document.activeElement.labels?.[0]?.innerText), 'Maximum Connections');
});

test('what is stored is found by its value, and what is not by default', async () => {
  await (await first('harbour', 'Settings')).getByText('Good morning, harbour').waitFor();
  const settings = page.getByRole('group', { name: 'Settings' });
  await first('@not-default', 'Settings');
  await settings.getByRole('option', { name: /^Enable Compression = on/ }).waitFor();
  await settings.getByRole('option', { name: /^Level = 4/ }).waitFor();
  assert.equal(await settings.getByRole('option', { name: /FIPS/ }).count(), 0);
  // An Apply renews what the search knows.
  await page.keyboard.press('Escape');
  await tab.show('General Settings::Compression');
  await page.getByRole('textbox', { name: 'Level' }).fill('7');
  await first('@changed', 'Settings').then((option) => option.getByText('Level').waitFor());
  await page.keyboard.press('Escape');
  await tab.applied();
  await first('@not-default level', 'Settings').then((option) => option.getByText('= 7').waitFor());
  await page.keyboard.press('Escape');
});

test('a setting that everyone has asks for whom; people and actions are found', async () => {
  await first('home directory', 'Settings');
  await page.getByRole('option', { name: /^Home Directory for whom\? Users › Default/ }).click();
  await page.getByPlaceholder('For whom?').waitFor();
  await page.keyboard.type('ol');
  await page.getByRole('option', { name: /olga/ }).waitFor();
  await page.keyboard.press('Enter');
  await tab.heading('olga');
  await until(() => page.evaluate(() => document.activeElement.labels?.[0]?.innerText), 'Home Directory');
  await first('rit', 'People');
  await page.getByRole('option', { name: /^rita/ }).click();
  await tab.heading('rita');
  await (await first('export', 'Actions')).waitFor();
  await first('open help', 'Actions');
  await page.getByRole('option', { name: 'Open help' }).click();
  await page.getByRole('complementary', { name: 'Help' }).waitFor();
  await (await first('qqqq', 'Actions')).page().getByText('Nothing answers “qqqq”').waitFor();
  await page.keyboard.press('Escape');
});
