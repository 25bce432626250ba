// The certificate dialogs: what a person sees of a certificate before choosing it, and what is stored afterwards.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { after, before } from 'node:test';
import { Home, patience, serve, startBrowser, test } from './console.mjs';

let home;
let console_;
let browser;
let page;
const made = {};

/** A certificate of itself, with its thumbprint as the console writes it. */
function make(name, days, extensions) {
  const [key, asked, file, more] = ['key', 'csr', 'pem', 'ext'].map((end) => join(home.folder, `${name}.${end}`));
  writeFileSync(more, extensions.join('\n'));
  const openssl = (...words) => execFileSync('openssl', words, { stdio: ['ignore', 'pipe', 'ignore'], encoding: 'utf8' });
  openssl('req', '-new', '-newkey', 'ec', '-pkeyopt', 'ec_paramgen_curve:prime256v1', '-nodes', '-subj', `/CN=${name}`, '-keyout', key, '-out', asked);
  openssl('x509', '-req', '-in', asked, '-signkey', key, '-days', String(days), '-extfile', more, '-out', file);
  const thumbprint = openssl('x509', '-in', file, '-noout', '-fingerprint', '-sha1').split('=')[1].trim().toLowerCase();
  made[name] = { file, thumbprint };
}

before(async () => {
  home = new Home();
  make('server.example', 365, ['keyUsage=digitalSignature,keyEncipherment', 'extendedKeyUsage=serverAuth']);
  make('old.example', -1, ['keyUsage=keyCertSign']);
  for (const { file } of Object.values(made)) home.run('certificate', 'add', file);
  console_ = await serve(home, ['--files', home.folder]);
  browser = await startBrowser();
  page = await browser.context.newPage();
  await page.goto(console_.address);
});

after(async () => {
  await browser?.stop();
  await console_?.stop();
  home?.remove();
});

const dialog = () => page.locator('dialog[open]').last();
const press = (name) => dialog().getByRole('button', { name, exact: true }).click();
const apply = () => page.getByRole('button', { name: /^Apply/ });
const row = (name) => dialog().getByRole('row').filter({ hasText: name });
const line = (name) => dialog().getByRole('textbox', { name, exact: true }).inputValue();
const lineBecomes = async (name, text) => {
  for (const end = Date.now() + patience; (await line(name)) !== text && Date.now() < end; ) await new Promise((done) => setTimeout(done, 20));
  assert.equal(await line(name), text);
};
const closed = () => page.waitForFunction(() => !document.querySelector('dialog[open]'));

async function show(...path) {
  await page.evaluate((to) => (location.hash = to), `#/${path.map(encodeURIComponent).join('/')}`);
  await page.getByRole('heading', { level: 1, name: path.at(-1), exact: true }).waitFor();
}

/** The control of that name, as the command line shows it. */
const stored = (node, name) => JSON.parse(home.run('--json', 'show', node)).data.controls.find((control) => control.name.replace(':', '') === name).value;

test('a host certificate is chosen by issuer, days, use and thumbprint, and stored by Apply', async () => {
  const node = 'General Settings::Host Key';
  await show('General Settings', 'Host Key');
  const shown = page.getByRole('textbox', { name: 'X.509 certificate' });
  const browse = page.getByRole('button', { name: 'Browse' }).last();
  const open = async () => {
    await browse.click();
    await dialog().getByRole('heading', { name: 'Select Certificate' }).waitFor();
  };
  await open();
  assert.ok(await dialog().getByRole('button', { name: 'OK', exact: true }).isDisabled());
  const { thumbprint } = made['server.example'];
  const [issuedTo, issuedBy, valid] = await row('server.example').getByRole('gridcell').all();
  assert.deepEqual([await issuedTo.innerText(), await issuedBy.innerText()], ['server.example', 'server.example']);
  assert.match(await valid.innerText(), /^\d{4}-\d\d-\d\d to \d{4}-\d\d-\d\d$/);
  // All of the mark can be seen.
  const marked = row('old.example').getByRole('gridcell').nth(2);
  assert.match(await marked.innerText(), /\(not valid now\)$/);
  assert.ok(await marked.evaluate((cell) => cell.scrollWidth <= cell.clientWidth));
  await row('old.example').click();
  await lineBecomes('Key Usage', 'certificate signing');
  await row('server.example').click();
  await lineBecomes('Key Usage', 'digital signature, key encipherment');
  assert.equal(await line('For'), 'server authentication');
  assert.ok(await dialog().getByText(`Thumbprint: ${thumbprint}`).isVisible());
  await press('Cancel');
  await closed();
  assert.equal(await shown.inputValue(), '');
  assert.ok(await apply().isDisabled());

  await open();
  await row('server.example').click();
  await press('OK');
  await closed();
  assert.equal(await shown.inputValue(), 'server.example');
  assert.equal(stored(node, 'X.509 certificate'), '', 'nothing is stored before Apply');
  await apply().click();
  await page.waitForFunction(() => [...document.querySelectorAll('footer button')].some((button) => /^Apply/.test(button.textContent) && button.disabled));
  assert.equal(stored(node, 'X.509 certificate'), 'server.example');
  // Of a stored one the page shows the last byte as the server does, which may be longer.
  assert.ok(stored(node, 'Thumbprint').startsWith(thumbprint.slice(0, -2)));
});

test('a trusted certificate is imported from a file, looked at and removed', async () => {
  writeFileSync(join(home.folder, 'broken.pem'), '-----BEGIN CERTIFICATE-----\nAAAA\n-----END CERTIFICATE-----\n');
  const trusted = () => JSON.parse(home.run('--json', 'certificate', 'list', '--store', 'trusted')).data.map(({ thumbprint }) => thumbprint);
  await show('Authentication', 'X.509 Certificate Options');
  await page.getByRole('button', { name: 'Edit Trusted Certificates' }).click();
  const upload = async (file) => {
    await press('Add');
    const chooser = page.waitForEvent('filechooser');
    await press('Upload');
    await (await chooser).setFiles(file);
  };
  await upload(join(home.folder, 'broken.pem'));
  await dialog().getByText('holds no certificate that could be added.').waitFor();
  await press('OK');
  await press('Add');
  await page.getByRole('dialog', { name: 'Open' }).getByRole('button', { name: 'Cancel' }).click();
  assert.equal(await dialog().getByRole('gridcell').count(), 0);

  await upload(made['old.example'].file);
  await row('old.example').waitFor();
  await row('old.example').dblclick();
  await dialog().getByRole('heading', { name: 'Certificate', exact: true }).waitFor();
  assert.deepEqual([await line('Issued To'), await line('Issued By'), await line('For'), await line('Key Usage')], [
    'old.example',
    'old.example',
    'any',
    'certificate signing',
  ]);
  assert.ok(await dialog().getByText(`Thumbprint: ${made['old.example'].thumbprint}`).isVisible());
  assert.match(await line('Valid'), /\(not valid now\)$/);
  await press('Close');
  await row('old.example').waitFor();
  assert.deepEqual(trusted(), [made['old.example'].thumbprint]);
  await row('old.example').click();
  await press('Remove');
  await row('old.example').waitFor({ state: 'detached' });
  await press('OK');
  await closed();
  assert.deepEqual(trusted(), []);
});
