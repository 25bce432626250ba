// Ways in that must not be there.
import assert from 'node:assert/strict';
import { execFileSync, spawnSync } from 'node:child_process';
import { mkdirSync, symlinkSync, writeFileSync } from 'node:fs';
import { request as httpRequest } from 'node:http';
import { request as httpsRequest } from 'node:https';
import { connect } from 'node:net';
import { join } from 'node:path';
import { after, before, test } from 'node:test';
import { Home, serve } from './console.mjs';

let home;
let console_;
let cookie;
let usedAddress;

/** One request with exactly these headers. */
function ask(path, { method = 'GET', headers = {}, body, port = console_.port, tls = false } = {}) {
  return new Promise((done, failed) => {
    const request = (tls ? httpsRequest : httpRequest)(
      { host: '127.0.0.1', port, path, method, headers: { Host: `127.0.0.1:${port}`, ...headers }, rejectUnauthorized: false, agent: false },
      (response) => {
        let text = '';
        response.on('data', (data) => (text += data));
        response.on('end', () => done({ status: response.statusCode, headers: response.headers, text }));
      },
    );
    request.on('error', failed);
    request.end(body);
  });
}

/** What comes back over a bare connection, and after how long it is closed. */
function raw(...chunks) {
  return new Promise((done) => {
    const socket = connect(console_.port, '127.0.0.1');
    const began = Date.now();
    let text = '';
    socket.on('data', (data) => (text += data));
    socket.on('error', () => {});
    socket.on('close', () => done({ text, seconds: (Date.now() - began) / 1000 }));
    socket.on('connect', async () => {
      for (const chunk of chunks) {
        if (typeof chunk === 'number') await new Promise((next) => setTimeout(next, chunk));
        else socket.write(chunk);
      }
    });
  });
}

before(async () => {
  home = new Home();
  const files = join(home.folder, 'files');
  mkdirSync(join(files, 'inside'), { recursive: true });
  mkdirSync(join(home.folder, 'files-not'));
  writeFileSync(join(files, 'inside', 'settings.xml'), '');
  writeFileSync(join(home.folder, 'secret.xml'), 'secret');
  symlinkSync(home.folder, join(files, 'way-out'));
  symlinkSync(join(home.folder, 'secret.xml'), join(files, 'file-out.xml'));
  console_ = await serve(home, ['--files', files]);
  usedAddress = console_.address;
});

after(async () => {
  await console_?.stop();
  home?.remove();
});

test('the token opens once, becomes a strict cookie and leaves the address', async () => {
  assert.equal((await ask('/')).status, 401);
  assert.equal((await ask('/?token=' + '0'.repeat(64))).status, 401);
  const way = new URL(usedAddress);
  const first = await ask(way.pathname + way.search);
  assert.equal(first.status, 303);
  assert.equal(first.headers.location, '/');
  const set = first.headers['set-cookie'][0];
  for (const part of ['HttpOnly', 'SameSite=Strict', 'Path=/']) assert.ok(set.includes(part), set);
  cookie = set.split(';')[0];
  assert.equal((await ask(way.pathname + way.search)).status, 401, 'the same token again');
  assert.equal((await ask('/', { headers: { Cookie: cookie } })).status, 200);
});

test('every request shows the cookie, and names this console as host and origin', async () => {
  const paths = ['/', '/app.js', '/app.css', '/api/state', '/api/tree', '/api/rows', '/api/find?text=a', '/api/files', '/api/download?id=a', '/nowhere'];
  for (const path of paths) {
    assert.equal((await ask(path)).status, 401, path);
    assert.equal((await ask(path, { headers: { Cookie: cookie.slice(0, -1) + '!' } })).status, 401, path);
    for (const Host of ['evil.example', `evil.example:${console_.port}`, '127.0.0.1', '127.0.0.1:1']) {
      assert.equal((await ask(path, { headers: { Cookie: cookie, Host } })).status, 421, `${path} of ${Host}`);
    }
    const Origin = 'http://evil.example';
    assert.equal((await ask(path, { headers: { Cookie: cookie, Origin } })).status, 403, path);
  }
  const post = (headers) => ask('/api/act', { method: 'POST', body: '{"act":"apply"}', headers: { Cookie: cookie, ...headers } });
  assert.equal((await post({})).status, 403, 'no origin');
  assert.equal((await post({ Origin: 'null' })).status, 403);
  assert.equal((await post({ Origin: `http://localhost:${console_.port}` })).status, 403, 'another name of the machine');
  assert.equal((await post({ Origin: console_.origin, 'Sec-Fetch-Site': 'cross-site' })).status, 403);
  assert.equal((await post({ Origin: console_.origin })).status, 200);
  // A file is taken only while a dialog asks for one, and given only to who knows its number.
  const upload = (headers) => ask('/api/upload?window=1&first=0&tab=a', { method: 'POST', body: 'x', headers: { Cookie: cookie, ...headers } });
  assert.equal((await upload({})).status, 403);
  assert.match((await upload({ Origin: console_.origin })).text, /Nothing asks for a file/);
  assert.equal((await ask('/api/download?id=', { headers: { Cookie: cookie } })).status, 404);
  assert.deepEqual(home.temporaryFiles(), []);
});

test('no response may be framed, sniffed, kept or run foreign script', async () => {
  for (const path of ['/', '/app.js', '/api/state', '/nowhere']) {
    for (const headers of [{}, { Cookie: cookie }]) {
      const { headers: got } = await ask(path, { headers });
      const policy = got['content-security-policy'];
      assert.match(policy, /default-src 'none'/);
      assert.match(policy, /frame-ancestors 'none'/);
      assert.doesNotMatch(policy, /unsafe|\*/);
      assert.equal(got['x-frame-options'], 'DENY');
      assert.equal(got['x-content-type-options'], 'nosniff');
      assert.equal(got['cache-control'], 'no-store');
      assert.equal(got['access-control-allow-origin'], undefined);
    }
  }
});

test('requests that are too large, too slow or malformed end, and the console goes on', async () => {
  const start = `GET /api/state HTTP/1.1\r\nHost: 127.0.0.1:${console_.port}\r\nCookie: ${cookie}\r\n`;
  const many = await raw(start + 'X-A: b\r\n'.repeat(200) + '\r\n');
  assert.doesNotMatch(many.text, /"version"/);
  const large = await raw(start + `X-A: ${'b'.repeat(7000)}\r\n`.repeat(3) + '\r\n');
  assert.doesNotMatch(large.text, /"version"/);
  const headers = { Cookie: cookie, Origin: console_.origin };
  const body = JSON.stringify({ act: 'help', text: 'x'.repeat(2 << 20) });
  const big = await ask('/api/act', { method: 'POST', body, headers }).catch((error) => ({ status: error.code }));
  assert.ok([413, 'EPIPE', 'ECONNRESET'].includes(big.status), String(big.status));
  const chunked = await ask('/api/act', { method: 'POST', body: '{}', headers: { ...headers, 'Transfer-Encoding': 'chunked' } });
  assert.equal(chunked.status, 411);
  // A refused request's body is not taken for the next request.
  const smuggled = await raw(`POST /api/act HTTP/1.1\r\nHost: evil.example\r\nContent-Length: ${start.length + 2}\r\n\r\n${start}\r\n`);
  assert.match(smuggled.text, /^HTTP\/1\.1 421/);
  assert.doesNotMatch(smuggled.text, /"version"/);
  const slow = await raw('GET / HTTP/1.1\r\n', 3000, 'X-A: b\r\n', 3000, 'X-B: b\r\n', 3000, 'X-C: b\r\n', 3000, 'X-D: b\r\n', 3000, '\r\n');
  assert.ok(slow.seconds < 14, `a slow request was waited for ${slow.seconds} s`);
  for (const wrong of ['', '[]', 'null', '{"act":5}', '{"window":"x","act":"click"}', '{"act":"click","window":1,"control":-1}', '{'.repeat(50000)]) {
    const answer = await ask('/api/act', { method: 'POST', body: wrong, headers });
    assert.ok([200, 400].includes(answer.status), wrong.slice(0, 40));
    if (answer.status === 200) assert.notEqual(JSON.parse(answer.text).refusal, '');
  }
  assert.equal((await ask('/api/state', { headers: { Cookie: cookie } })).status, 200);
});

test('a crowd of idle connections does not keep others out', async () => {
  const crowd = [];
  for (let i = 0; i < 80; ++i) {
    const socket = connect(console_.port, '127.0.0.1');
    socket.on('error', () => {});
    crowd.push(socket);
  }
  const answer = await ask('/api/state', { headers: { Cookie: cookie } });
  assert.equal(answer.status, 200);
  for (const socket of crowd) socket.destroy();
});

test('the file picker stays under its roots', async () => {
  const files = join(home.folder, 'files');
  const list = (path) => ask(`/api/files?path=${encodeURIComponent(path)}`, { headers: { Cookie: cookie } });
  const top = await list('');
  assert.deepEqual(JSON.parse(top.text).folders.map((folder) => folder.path), [files]);
  const inside = JSON.parse((await list(files)).text);
  assert.deepEqual(inside.folders.map((folder) => folder.name), ['inside'], 'links that lead out are not shown');
  assert.deepEqual(inside.files, []);
  const out = ['/', '/etc', home.folder, `${files}/..`, `${files}/../files-not`, `${files}-not`, `${files}/way-out`, `${files}/inside/../../..`, 'C:\\', 'C:\\..\\..', '\\\\localhost\\C$', '../..', `${files}\0/../..`];
  for (const path of out) assert.equal((await list(path)).status, 404, path);
});

test('others reach it over TLS only, unless that is said to be wanted', async () => {
  const words = (...more) => ['--home', join(home.folder, 'home'), 'serve', '--listen', '0.0.0.0:0', ...more];
  const refused = spawnSync(process.env.MARROWEN, words(), { encoding: 'utf8', timeout: 10000 });
  assert.equal(refused.status, 1);
  assert.match(refused.stderr, /--tls-cert/);
  const key = join(home.folder, 'key.pem');
  const certificate = join(home.folder, 'certificate.pem');
  execFileSync('openssl', ['req', '-x509', '-newkey', 'ec', '-pkeyopt', 'ec_paramgen_curve:P-256', '-nodes', '-days', '2', '-subj', '/CN=localhost', '-keyout', key, '-out', certificate], { stdio: 'ignore' });
  const unfit = spawnSync(process.env.MARROWEN, words('--tls-cert', key, '--tls-key', key), { encoding: 'utf8', timeout: 10000 });
  assert.equal(unfit.status, 1);
  const secure = await serve(home, ['--tls-cert', certificate, '--tls-key', key]);
  try {
    assert.match(secure.address, /^https:/);
    const way = new URL(secure.address);
    const first = await ask(way.pathname + way.search, { port: secure.port, tls: true });
    assert.equal(first.status, 303);
    assert.match(first.headers['set-cookie'][0], /; Secure/);
    const plain = await ask('/', { port: secure.port }).catch(() => ({ status: 0 }));
    assert.notEqual(plain.status, 200);
    const Cookie = first.headers['set-cookie'][0].split(';')[0];
    assert.equal((await ask('/api/state', { port: secure.port, tls: true, headers: { Cookie } })).status, 200);
  } finally {
    await secure.stop();
  }
});
