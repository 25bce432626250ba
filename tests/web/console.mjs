// Starts a console on a scratch home, and a browser beside it; both are ended by their own ids.
import { execFileSync, spawn } from 'node:child_process';
import { mkdirSync, mkdtempSync, readdirSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { dirname, join } from 'node:path';
import { chromium } from 'playwright-core';

const program = process.env.MARROWEN;

/** Whether the console is the one for Windows, which Wine runs here on its own registry. */
export const onWindows = program.endsWith('.exe');
const [command, ...first] = onWindows ? ['wine', program] : [program];

/** A path as the console names it. */
export const pathOf = (path) => (onWindows ? `Z:${path.replaceAll('/', '\\')}` : path);

/** A program and its arguments that run the console with those words. */
export const run = (...words) => [command, [...first, ...words]];

/** For how long a test waits, in milliseconds, for what a busy machine does late. */
export const patience = Number(process.env.PATIENCE ?? 180000);

/** A scratch home, and the command line on it. */
export class Home {
  constructor() {
    this.folder = mkdtempSync(join(tmpdir(), 'marrowen-web-'));
    mkdirSync(join(this.folder, 'tmp'));
  }
  /** The files that lie in the console's folder for temporary ones. */
  temporaryFiles() {
    return readdirSync(join(this.folder, 'tmp'), { recursive: true, withFileTypes: true }).filter((entry) => entry.isFile() && entry.name !== 'lock');
  }
  run(...words) {
    return execFileSync(command, [...first, '--home', join(this.folder, 'home'), ...words], { encoding: 'utf8' });
  }
  fillUsers(count) {
    execFileSync(join(dirname(program), 'many_users'), [join(this.folder, 'home'), String(count)]);
  }
  /** The value's text as the registry holds it; null when there is none. */
  value(key, name) {
    try {
      const found = JSON.parse(this.run('--json', 'reg', 'query', `HKLM\\Software\\TesselWorks\\${key}`, name));
      return Buffer.from(found.data.values[0].bytes.replaceAll(' ', ''), 'hex').toString();
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
  const child = spawn(command, [...first, '--home', join(home.folder, 'home'), 'serve', '--listen', `127.0.0.1:${port}`, ...words], {
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
  return {
    context,
    async stop() {
      await context.close();
      rmSync(folder, { recursive: true, force: true });
    },
  };
}
