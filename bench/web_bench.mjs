// How soon the console in the browser answers, on loopback: node bench/web_bench.mjs build/release/bin/marrowen
process.env.MARROWEN = process.argv[2];
const { Home, serve, startBrowser } = await import('../tests/web/console.mjs');

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
