// A computer whose texts are not UTF-8: the browser shows them right, and stores the bytes that the server reads.
import assert from 'node:assert/strict';
import { after, before } from 'node:test';
import { test } from './console.mjs';
import { start, until } from './task.mjs';

let all;
let tab;

before(async () => {
  all = await start((home) => {
    home.run('computer', 'add', 'west', '--code-page', '1252');
    home.run('--computer', 'west', 'user', 'add', 'Jürgen');
  });
  tab = all.tab;
});

after(() => all?.stop());

test('names are read and texts are stored in the code page, and what it lacks is refused', async () => {
  await tab.page.getByRole('combobox', { name: 'Computer and configuration' }).selectOption({ label: 'west · own settings' });
  await until(() => tab.page.title(), 'General Settings – west – Marrowen');
  await tab.show('Users');
  await tab.page.locator('#page').getByText('Jürgen', { exact: true }).click();
  await tab.heading('Jürgen');
  await tab.show('Banner');
  const prompt = tab.page.getByRole('textbox', { name: 'Prompt' });
  await prompt.fill('Łódź');
  await tab.says('lacks: "?" stands for them');
  await prompt.fill('Grüße €');
  await tab.applied();
  const key = 'HKLM\\Software\\TesselWorks\\SSHD';
  const stored = () => JSON.parse(all.home.run('--computer', 'west', '--json', 'reg', 'query', key)).data.values.map(({ bytes }) => bytes).join('\n');
  assert.match(stored(), /47 72 FC DF 65 20 80/);
});
