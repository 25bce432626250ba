// How soon the console in the browser answers, on loopback: node bench/web_bench.mjs build/release/bin/marrowen [EDITS]
// EDITS wait, 10,000 where none are named, when their review is opened. The target many_users is built before. Of the
// console for Windows, which Wine runs, all but search and review is measured.
process.env.MARROWEN = process.argv[2];
const { Home, onWindows, serve, startBrowser } = await import('../tests/web/console.mjs');
const { editMany } = await import('../tests/web/task.mjs');

const percentile = (times, share) => [...times].sort((a, b) => a - b)[Math.min(times.length - 1, Math.floor(times.length * share))];
const row = (what, times) =>
  console.log(
    what.padEnd(52),
    ...[0.5, 0.99, 1].map((share) => percentile(times, share).toFixed(1).padStart(8)),
  );

// Milliseconds from 400 clicks to the new state in the page, and to the frame that draws it.
async function clicks(page) {
  await page.evaluate(() => (location.hash = '#/General%20Settings/Compression'));
  await page.getByRole('heading', { name: 'Compression' }).waitFor();
  return page.evaluate(async () => {
    const box = document.querySelector('main input[type=checkbox]');
    const apply = [...document.querySelectorAll('footer button')].pop();
    const settled = [];
    const drawn = [];
    for (let i = 0; i < 400; ++i) {
      // A person's click falls anywhere in a frame.
      await new Promise((done) => setTimeout(done, 20 + Math.random() * 17));
      const began = performance.now();
      const changed = new Promise((done) => {
        new MutationObserver((_, observer) => {
          observer.disconnect();
          done();
        }).observe(apply, { attributes: true, childList: true, subtree: true });
      });
      box.click();
      await changed;
      settled.push(performance.now() - began);
      await new Promise((done) => requestAnimationFrame(done));
      drawn.push(performance.now() - began);
    }
    return { settled, drawn };
  });
}

/** A page on a console of its own with a hundred thousand users, of whom some wait to be stored. */
async function onMany(measure) {
  const home = new Home();
  home.fillUsers(100000);
  const console_ = await serve(home);
  const browser = await startBrowser();
  try {
    const page = await browser.context.newPage();
    await page.goto(console_.address);
    await page.getByRole('heading', { level: 1 }).waitFor();
    await measure(page, console_);
  } finally {
    await browser.stop();
    await console_.stop();
    home.remove();
  }
}

// Milliseconds from each key of a search to the frame that shows what it finds.
async function search(page) {
  const field = page.getByRole('combobox', { name: /^Search/ });
  const type = async (text) => {
    await field.focus();
    return page.evaluate(async (text) => {
      const field = document.activeElement;
      const shown = () => document.querySelector('#found')?.innerText ?? '';
      const times = [];
      for (let end = 1; end <= text.length; ++end) {
        const before = shown();
        const began = performance.now();
        field.value = text.slice(0, end);
        field.dispatchEvent(new InputEvent('input', { bubbles: true }));
        while (shown() === before && performance.now() - began < 1000) await new Promise((done) => requestAnimationFrame(done));
        // A key that finds what was found before it shows nothing new.
        if (shown() !== before) times.push(performance.now() - began);
        await new Promise((done) => setTimeout(done, 60));
      }
      field.value = '';
      field.dispatchEvent(new InputEvent('input', { bubbles: true }));
      return times;
    }, text);
  };
  const times = [];
  // The index is made when it is first asked for.
  await type('user');
  for (let i = 0; i < 20; ++i) times.push(...(await type(`user0${String(i * 4321).padStart(5, '0')}`)));
  return times;
}

// Milliseconds from the click on what waits to the frame with the review.
async function review(page) {
  await page.evaluate(() => (location.hash = '#/Users'));
  await page.getByRole('heading', { level: 1, name: 'Users' }).waitFor();
  const times = [];
  for (let i = 0; i < 20; ++i) {
    times.push(await page.evaluate(async () => {
      const began = performance.now();
      [...document.querySelectorAll('footer button')].find((one) => one.innerText.startsWith('Changes on')).click();
      while (!document.querySelector('dialog[open] .review')) await new Promise((done) => requestAnimationFrame(done));
      return performance.now() - began;
    }));
    await page.keyboard.press('Escape');
    await page.locator('dialog').waitFor({ state: 'detached' });
  }
  return times;
}

const home = new Home();
const console_ = await serve(home);
let browser = await startBrowser();
try {
  const page = await browser.context.newPage();
  // When the page's heading stands, and the first frame after it.
  await page.addInitScript(() => {
    new MutationObserver((_, observer) => {
      if (!document.querySelector('h1')) return;
      observer.disconnect();
      requestAnimationFrame(() => setTimeout(() => (window.drawn = performance.now())));
    }).observe(document, { childList: true, subtree: true });
  });
  await page.goto(console_.address);
  console.log('milliseconds'.padEnd(52), ...['median', '99 %', 'most'].map((name) => name.padStart(8)));
  const first = [];
  for (let i = 0; i < 30; ++i) {
    await page.goto(console_.origin);
    await page.waitForFunction(() => window.drawn);
    first.push(await page.evaluate(() => window.drawn));
  }
  row('first page, from the request to its frame', first);
  const [whole, sent] = await page.evaluate(() => {
    const files = [...performance.getEntriesByType('navigation'), ...performance.getEntriesByType('resource')].filter(({ name }) => !name.includes('/api/'));
    return ['decodedBodySize', 'encodedBodySize'].map((size) => files.reduce((sum, file) => sum + file[size], 0));
  });
  console.log(`its files: ${sent.toLocaleString('en')} bytes compressed, ${whole.toLocaleString('en')} as they are`);

  const { settled, drawn } = await clicks(page);
  row('click, from the event to the new state in the page', settled);
  row('click, to the frame that draws it, 60 a second', drawn);

  // The same cookie in a browser whose screen keeps no frame waiting: what is left is the console's own time.
  const cookies = await browser.context.cookies();
  const key = await page.evaluate(() => localStorage.getItem('key'));
  await browser.stop();
  browser = await startBrowser(['--disable-frame-rate-limit', '--disable-gpu-vsync']);
  await browser.context.addCookies(cookies);
  const other = await browser.context.newPage();
  await other.goto(`${console_.origin}/#key=${key}`);
  row('click, to the frame that draws it, as soon as it can', (await clicks(other)).drawn);
} finally {
  await browser.stop();
  await console_.stop();
  home.remove();
}

// A hundred thousand users are put straight into a home.
if (!onWindows) {
  await onMany(async (page, console_) => {
    const waiting = Number(process.argv[3] ?? 10000);
    row('search of 100,000 users, from a key to its frame', await search(page));
    await editMany(page, console_.origin, waiting);
    row(`review of ${waiting.toLocaleString('en')} edits, from the click to its frame`, await review(page));
  });
}
