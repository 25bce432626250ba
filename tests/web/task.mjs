// What tests of whole tasks share: a console, a browser and a tab on it, and what an administrator does there.
import assert from 'node:assert/strict';
import { Home, patience, serve, startBrowser } from './console.mjs';

/** The address of a page of the own settings of the computer that the console runs on. */
export const hash = (node) => `#/${node.split('::').map(encodeURIComponent).join('/')}`;

/** In the page: to that address, of the computer that is shown. */
export const goTo = (to) => (location.hash = to + (/\?.*/.exec(location.hash)?.[0] ?? ''));

/** Changes a setting of that many users; no page is open meanwhile that would follow each act. */
export async function editMany(page, origin, count) {
  await page.goto(`${origin}/icon.svg`);
  await page.evaluate(async (count) => {
    const headers = { 'X-Marrowen-Key': localStorage.getItem('key') };
    const act = async (one) => (await fetch('/api/act', { method: 'POST', headers, body: JSON.stringify({ ...one, tab: 'many' }) })).json();
    let control = -1;
    for (let i = 0; i < count; ++i) {
      const reply = await act({ act: 'node', text: `Users::user${String(i).padStart(6, '0')}` });
      if (control < 0) control = reply.state.controls.findIndex(({ name }) => name === 'Monitor Child Processes');
      await act({ act: 'click', window: reply.state.window, control });
    }
  }, count);
  await page.goto(origin);
  await page.getByRole('button', { name: `Changes on ${count.toLocaleString('en')} pages wait` }).waitFor();
}

/** Waits until what is asked for is as wanted. */
export async function until(what, wanted) {
  for (const end = Date.now() + patience; Date.now() < end; ) {
    if ((await what()) === wanted) return;
    await new Promise((done) => setTimeout(done, 20));
  }
  assert.equal(await what(), wanted);
}

/** A tab of the browser on a console. */
export class Tab {
  constructor(page) {
    this.page = page;
  }
  /** The browser draws the tab in front, and clicks wait for what is drawn. */
  front() {
    return this.page.bringToFront();
  }
  async show(node) {
    await this.front();
    await this.page.evaluate(goTo, hash(node));
    await this.heading(node.split('::').pop());
  }
  heading(name) {
    return this.page.getByRole('heading', { level: 1, name, exact: true }).waitFor();
  }
  apply() {
    return this.page.locator('footer').getByRole('button', { name: /^Apply/ });
  }
  cancel() {
    return this.page.locator('footer').getByRole('button', { name: 'Cancel' });
  }
  dialog() {
    return this.page.locator('dialog[open]').last();
  }
  async applied() {
    await this.front();
    await this.apply().click();
    await until(() => this.apply().isEnabled(), false);
  }
  says(text) {
    return this.page.locator('.status', { hasText: text }).waitFor();
  }
}

/** A console, with those words more, on a scratch home that `prepare` has made ready; with a browser. */
export async function start(prepare = () => {}, words = (_home) => []) {
  const home = new Home();
  prepare(home);
  const console_ = await serve(home, words(home));
  const browser = await startBrowser();
  const page = await browser.context.newPage();
  await page.goto(console_.address);
  await page.getByRole('heading', { level: 1 }).waitFor();
  return {
    home,
    console_,
    browser,
    tab: new Tab(page),
    async another(node) {
      const other = await browser.context.newPage();
      await other.goto(this.console_.origin + '/' + hash(node));
      const tab = new Tab(other);
      await tab.heading(node.split('::').pop());
      return tab;
    },
    async stop() {
      await browser.stop();
      await this.console_.stop();
      home.remove();
    },
  };
}
