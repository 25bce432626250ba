// Starts a console on a scratch home, and a browser beside it; both are ended by their own ids.
import assert from 'node:assert/strict';
import { execFileSync, spawn } from 'node:child_process';
import { mkdirSync, mkdtempSync, readFileSync, readdirSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { dirname, join } from 'node:path';
import { test as nodeTest } from 'node:test';
import { chromium } from 'playwright-core';

const program = process.env.MARROWEN;

/** Whether the console is the one for Windows, which Wine runs here on its own registry. */
export const onWindows = program.endsWith('.exe');
const [command, ...first] = onWindows ? ['wine', program] : [program];

/** A path as the console names it. */
export const pathOf = (path) => (onWindows ? `Z:${path.replaceAll('/', '\\')}` : path);

const skips = new Map();
if (onWindows) {
  for (const line of readFileSync(new URL('../wine_skips.txt', import.meta.url), 'utf8').split('\n')) {
    const [, title, reason] = /^web ([^:]*): (.*)/.exec(line) ?? [];
    if (title) skips.set(title, reason);
  }
}
/** What has failed on the pages unseen. */
const uncaught = [];

/** A test that the list of what Wine can't do may name, by its title or a shorter name. */
export const test = (title, run, name = title) =>
  nodeTest(title, { skip: skips.get(name) ?? false }, async (context) => {
    await run(context);
    assert.deepEqual(uncaught.splice(0), []);
  });

/** A program and its arguments that run the console with those words. */
export const run = (...words) => [command, [...first, ...words]];

/** For how long a test waits, in milliseconds, for what a busy machine does late. */
export const patience = Number(process.env.PATIENCE ?? 180000);

/** The server's key as its installation leaves it, and no certificate, in the registry that all programs of this Wine share. */
function installServer() {
  const reg = (...words) => execFileSync('wine', ['reg', ...words, '/f'], { stdio: 'ignore' });
  const server = 'HKLM\\Software\\TesselWorks\\SSHD';
  for (const left of ['TesselWorks', 'Microsoft\\SystemCertificates\\MY\\Certificates']) {
    try {
      reg('delete', `HKLM\\Software\\${left}`);
    } catch {
      // There was none.
    }
  }
  reg('add', server, '/v', 'Path', '/d', 'C:\\TesselWorks\\SSHD\\');
  reg('add', server, '/v', 'LogFileDirectory', '/d', 'C:\\windows\\temp');
  for (const key of ['Users', 'Groups', 'IPs', 'Certs', 'PrinterInfo', 'PAD']) reg('add', `${server}\\${key}`);
}

/** A scratch home, and the command line on it. On Windows it is the machine's registry, made as new. */
export class Home {
  constructor() {
    this.folder = mkdtempSync(join(tmpdir(), 'marrowen-web-'));
    mkdirSync(join(this.folder, 'tmp'));
    this.words = onWindows ? [] : ['--home', join(this.folder, 'home')];
    if (onWindows) installServer();
  }
  /** The files that lie in the console's folder for temporary ones. */
  temporaryFiles() {
    return readdirSync(join(this.folder, 'tmp'), { recursive: true, withFileTypes: true }).filter((entry) => entry.isFile() && entry.name !== 'lock');
  }
  run(...words) {
    const named = words.map((word) => (word.startsWith(this.folder) ? pathOf(word) : word));
    return execFileSync(command, [...first, ...this.words, ...named], { encoding: 'utf8' }).replaceAll('\r\n', '\n');
  }
  /** A settings file as an export writes it now. */
  exported() {
    const file = join(this.folder, 'tmp', 'exported.xml');
    this.run('export', file, '--credentials', 'no');
    const text = readFileSync(file, 'utf8');
    rmSync(file);
    return text;
  }
  fillUsers(count) {
    execFileSync(join(dirname(program), 'many_users'), [join(this.folder, 'home'), String(count)]);
  }
  /** The value's text as the registry holds it; null when there is none. */
  value(key, name) {
    try {
      const found = JSON.parse(this.run('--json', 'reg', 'query', `HKLM\\Software\\TesselWorks\\${key}`, name));
      // Windows keeps a text with the zero behind it.
      return Buffer.from(found.data.values[0].bytes.replaceAll(' ', ''), 'hex').toString().replace(/\0$/, '');
    } catch {
      return null;
    }
  }
  remove() {
    rmSync(this.folder, { recursive: true, force: true });
  }
}

/** The serving console: `address` with its token, `origin` without. */
export async function serve(home, words = [], port = 0) {
  const child = spawn(command, [...first, ...home.words, 'serve', '--listen', `127.0.0.1:${port}`, ...words.map((word) => (word.startsWith(home.folder) ? pathOf(word) : word))], {
    stdio: ['ignore', 'pipe', 'pipe'],
    // Wine would take the folder for that of its server, and start another one.
    env: onWindows ? process.env : { ...process.env, TMPDIR: join(home.folder, 'tmp') },
  });
  let printed = '';
  let errors = '';
  child.stderr.on('data', (data) => (errors += data));
  const address = await new Promise((done, failed) => {
    child.stdout.on('data', (data) => {
      printed += data;
      const found = /The console is at (\S+)/.exec(printed);
      if (found) done(found[1]);
    });
    child.on('exit', (code) => failed(new Error(`The console ended with ${code}: ${printed}${errors}`)));
  });
  return {
    address,
    origin: new URL(address).origin,
    port: Number(new URL(address).port),
    pid: child.pid,
    printed: () => printed,
    async stop() {
      if (child.exitCode !== null || child.signalCode !== null) return;
      const ended = new Promise((done) => child.once('exit', done));
      process.kill(child.pid, 'SIGTERM');
      await ended;
    },
  };
}

export async function startBrowser(more = []) {
  const folder = mkdtempSync(join(tmpdir(), 'marrowen-browser-'));
  const context = await chromium.launchPersistentContext(folder, {
    executablePath: '/usr/bin/chromium',
    headless: true,
    chromiumSandbox: false,
    args: [
      '--disable-gpu',
      '--disable-quic',
      '--no-first-run',
      '--disable-background-networking',
      '--disable-component-update',
      '--disable-sync',
      ...more,
    ],
  });
  context.setDefaultTimeout(patience);
  context.on('weberror', (error) => uncaught.push(error.error().stack));
  return {
    context,
    async stop() {
      await context.close();
      rmSync(folder, { recursive: true, force: true });
    },
  };
}
