// Folders and lists of a hundred thousand principals: they open, scroll and filter by the window.
import assert from 'node:assert/strict';
import { readFileSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { after, before } from 'node:test';
import { Home, serve, startBrowser, test } from './console.mjs';
import { editMany } from './task.mjs';

const count = 100000;
let home;
let console_;
let browser;
let page;
let largest = 0;

before(async () => {
  home = new Home();
  home.fillUsers(count);
  console_ = await serve(home);
  browser = await startBrowser();
  page = await browser.context.newPage();
  page.on('response', async (response) => {
    const body = await response.body().catch(() => null);
    if (new URL(response.url()).pathname.startsWith('/api/') && body) largest = Math.max(largest, body.length);
  });
  await page.goto(console_.address);
});

after(async () => {
  await browser?.stop();
  await console_?.stop();
  home?.remove();
});

test('the tree and the list of a hundred thousand users scroll, filter and select', async () => {
  await page.evaluate(() => (location.hash = '#/Users'));
  await page.getByRole('heading', { level: 1, name: 'Users' }).waitFor();
  const list = page.locator('#page .scroller').first();
  await list.getByText('user000000', { exact: true }).waitFor();
  await list.focus();
  await page.keyboard.press('End');
  await list.getByText(`user0${count - 1}`, { exact: true }).waitFor();
  await page.locator('#page .row.selected').getByText(`user0${count - 1}`).waitFor();
  await page.getByRole('searchbox', { name: /^Filter/ }).fill('user05432');
  await list.getByText('user054329').waitFor();
  await page.getByText(/^10 of 100,00/).waitFor();
  assert.ok((await page.locator('#page .row').count()) < 60);

  const tree = page.getByRole('tree');
  await tree.getByRole('treeitem', { name: /^Users/ }).first().click();
  await page.keyboard.press('ArrowRight');
  await tree.getByRole('treeitem', { name: 'user000000' }).waitFor();
  await tree.evaluate((element) => (element.scrollTop = 50000 * 32));
  await tree.getByText(/^user0500/).first().waitFor();
  assert.ok((await tree.getByRole('treeitem').count()) < 100);
  await page.keyboard.press('Control+k');
  await page.keyboard.type('user077777');
  await page.getByRole('option', { name: /user077777/ }).first().click();
  await page.getByRole('heading', { level: 1, name: 'user077777' }).waitFor();
  const shown = tree.locator('.row.selected', { hasText: 'user077777' });
  await shown.waitFor();
  await page.waitForFunction(() => document.querySelector('.tree').scrollTop > 70000 * 32);
  // The keys go on from there, and to where nothing has been fetched yet.
  await tree.focus();
  await page.keyboard.press('ArrowDown');
  await page.getByRole('heading', { level: 1, name: 'user077778' }).waitFor();
  await page.keyboard.press('End');
  await page.getByRole('heading', { level: 1, name: 'About' }).waitFor();
  const above = ['IP Range', 'Configuration Management', 'SCP Groups', 'Default', 'SCP Users', 'SFTP Groups', 'Default', 'SFTP Users', 'Groups'];
  for (const name of [...above, `user0${count - 1}`]) {
    await page.keyboard.press('ArrowUp');
    await page.getByRole('heading', { level: 1, name, exact: true }).waitFor();
  }
  assert.ok(largest < 200000, `one answer had ${largest} bytes`);
});

/** Cancels long work by key once its progress is shown. The console works in short steps until then, so that it is not done before. */
async function cancelAtWork() {
  const [server] = readFileSync(`/proc/${console_.pid}/task/${console_.pid}/children`, 'utf8').split(' ').map(Number);
  const atWork = () => page.evaluate(() => /\d keys$/.test(document.querySelector('dialog[open] .working')?.textContent));
  for (;;) {
    process.kill(server, 'SIGSTOP');
    if (await atWork()) break;
    process.kill(server, 'SIGCONT');
    await new Promise((done) => setTimeout(done, 20));
  }
  // The focus is on Cancel.
  await page.keyboard.press('Enter');
  process.kill(server, 'SIGCONT');
}

test('an import tells how far it has come, and leaves the settings as they were when it is cancelled', async () => {
  const file = join(home.folder, 'many.xml');
  const path = ['HKEY_LOCAL_MACHINE', 'SOFTWARE', 'TesselWorks', 'SSHD', 'Users'];
  const users = Array.from({ length: 2 * count }, (_, i) => `<k name="new${i}"><v name="Shell" value="no" type=""/></k>\n`);
  writeFileSync(file, `<registry><product name="Tessel Marrowen SSH Server"/>${path.map((name) => `<k name="${name}">`).join('')}${users.join('')}${'</k>'.repeat(path.length)}</registry>`);
  await page.evaluate(() => (location.hash = '#/Configuration%20Management'));
  const dialog = page.locator('dialog[open]').last();
  const press = (name) => dialog.getByRole('button', { name, exact: true }).click();
  for (const stage of ['preview', 'import', 'all']) {
    await page.getByRole('button', { name: 'Import Settings', exact: true }).click();
    await press('Yes');
    const chooser = page.waitForEvent('filechooser');
    await press('Upload');
    await (await chooser).setFiles(file);
    if (stage !== 'preview') {
      await dialog.getByText(`The import adds ${4 * count}`).waitFor();
      await press('Import');
    }
    if (stage === 'all') {
      // A tab that opens meanwhile shows where the others are.
      const second = await browser.context.newPage();
      await second.goto(`${console_.origin}/#/Banner`);
      await second.getByRole('heading', { level: 1, name: 'Configuration Management' }).waitFor();
      await second.close();
      await page.bringToFront();
    } else {
      await cancelAtWork();
    }
    await dialog.getByText(stage === 'all' ? 'Settings from many.xml imported.' : /^Unable to Import settings\. /).waitFor();
    await press('OK');
    await dialog.waitFor({ state: 'detached' });
    const stored = home.value('SSHD\\Users\\new0', 'Shell');
    assert.equal(stored, stage === 'all' ? 'no' : null, stage);
    assert.deepEqual(home.temporaryFiles(), []);
  }
});

test('a review of many pages shows the rest of them on demand', async () => {
  await editMany(page, console_.origin, 203);
  await page.getByRole('button', { name: 'Changes on 203 pages wait' }).click();
  const dialog = page.locator('dialog[open]');
  await dialog.getByRole('region', { name: 'Users::user000199' }).waitFor();
  assert.equal(await dialog.getByRole('region').count(), 200);
  await dialog.getByRole('button', { name: 'Show 3 more' }).click();
  await dialog.getByRole('region', { name: 'Users::user000202' }).waitFor();
  await dialog.getByRole('button', { name: 'Revert all of Users::user000202' }).click();
  await page.getByText('Changes that wait on 202 pages').waitFor();
  assert.equal(await dialog.getByRole('region').count(), 202);
  await dialog.getByRole('button', { name: 'Discard all…' }).click();
  await dialog.getByRole('button', { name: 'Discard everything' }).click();
  await dialog.waitFor({ state: 'detached' });
});

test('an export tells how far it has come, and a cancelled one leaves no file', async () => {
  await page.evaluate(() => (location.hash = '#/Configuration%20Management'));
  const dialog = page.locator('dialog[open]').last();
  const press = (name) => dialog.getByRole('button', { name, exact: true }).click();
  await page.getByRole('button', { name: 'Export Settings', exact: true }).click();
  let downloads = 0;
  page.on('download', () => ++downloads);
  await press('Download');
  await press('No');
  await cancelAtWork();
  await page.getByText('Settings saved in').or(page.locator('body:not(:has(dialog))')).waitFor();
  assert.equal(await page.locator('dialog').count(), 0, 'nothing was saved');
  assert.deepEqual(home.temporaryFiles(), []);
  assert.equal(downloads, 0);
});
