// Ways in that must not be there.
import assert from 'node:assert/strict';
import { execFileSync, spawnSync } from 'node:child_process';
import { mkdirSync, openSync, readFileSync, symlinkSync, writeFileSync } from 'node:fs';
import { request as httpRequest } from 'node:http';
import { request as httpsRequest } from 'node:https';
import { connect } from 'node:net';
import { join } from 'node:path';
import { after, before, test } from 'node:test';
import { Home, onWindows, pathOf, patience, run, serve } from './console.mjs';

let home;
let console_;
let cookie;
let key;
let usedAddress;

/** One request with exactly these headers, and the page's key once there is one. */
function ask(path, { method = 'GET', headers: given = {}, body, port = console_.port, tls = false } = {}) {
  const headers = key && !('X-Marrowen-Key' in given) ? { 'X-Marrowen-Key': key, ...given } : given;
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

/** Asks for a web socket: {"status", "socket"}, the latter a bare connection once it stands. */
function askSocket(headers = {}, { port = console_.port, tls = false } = {}) {
  return new Promise((done, failed) => {
    const request = (tls ? httpsRequest : httpRequest)({
      host: '127.0.0.1',
      port,
      path: '/api/socket',
      rejectUnauthorized: false,
      agent: false,
      headers: Object.fromEntries(Object.entries({
        Host: `127.0.0.1:${port}`,
        Origin: `http${tls ? 's' : ''}://127.0.0.1:${port}`,
        Cookie: cookie,
        'X-Marrowen-Key': key,
        Connection: 'Upgrade',
        Upgrade: 'websocket',
        'Sec-WebSocket-Version': '13',
        'Sec-WebSocket-Key': 'dGhlIHNhbXBsZSBub25jZQ==',
        ...headers,
      }).filter(([, value]) => value !== undefined)),
    });
    request.on('upgrade', (response, socket, head) => {
      assert.equal(response.headers['sec-websocket-accept'], 's3pPLMBiTxaQ9kYGzzhZRbK+xOo=');
      socket.on('error', () => {});
      socket.unshift(head);
      done({ status: 101, socket });
    });
    request.on('response', (response) => (response.resume(), done({ status: response.statusCode })));
    request.on('error', failed);
    request.end();
  });
}

/** A text in a frame as clients send them, masked by zeros. */
function frame(text) {
  const bytes = Buffer.from(text);
  const size = bytes.length < 126 ? [bytes.length] : [126, bytes.length >> 8, bytes.length & 255];
  return Buffer.concat([Buffer.from([0x81, 0x80 | size[0], ...size.slice(1), 0, 0, 0, 0]), bytes]);
}

/** What comes next over the socket that holds the text; null when the socket is closed first. */
function next(socket, text) {
  return new Promise((done) => {
    let got = '';
    socket.on('data', (data) => (got += data).includes(text) && done(got));
    socket.on('close', () => done(null));
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
        if (socket.destroyed) return;
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
  console_ = await serve(home, ['--files', pathOf(files)]);
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
  key = /^\/#key=([0-9a-f]{64})$/.exec(first.headers.location)[1];
  const set = first.headers['set-cookie'][0];
  for (const part of ['HttpOnly', 'SameSite=Strict', 'Path=/']) assert.ok(set.includes(part), set);
  cookie = set.split(';')[0];
  assert.equal((await ask(way.pathname + way.search)).status, 401, 'the same token again');
  assert.equal((await ask('/', { headers: { Cookie: cookie } })).status, 200);
});

test('the cookie alone, which browsers send to every port, reads and does nothing', async () => {
  for (const wrong of ['', key.slice(0, -1) + '!', cookie.split('=')[1]]) {
    const headers = { Cookie: cookie, 'X-Marrowen-Key': wrong };
    for (const path of ['/api/state', '/api/tree', '/api/files', '/api/download?id=a', `/api/state?key=${wrong}`]) {
      assert.equal((await ask(path, { headers })).status, 401, path);
    }
    const act = { method: 'POST', body: '{"act":"apply"}', headers: { ...headers, Origin: console_.origin } };
    assert.equal((await ask('/api/act', act)).status, 401);
    assert.equal((await askSocket(headers)).status, 401);
  }
  assert.equal((await ask(`/api/state?key=${key}`, { headers: { Cookie: cookie, 'X-Marrowen-Key': '' } })).status, 200);
});

test('every request shows the cookie, and names this console as host and origin', async () => {
  const paths = ['/', '/app.js', '/app.css', '/api/state', '/api/tree', '/api/rows', '/api/find?text=a', '/api/files', '/api/download?id=a', '/api/socket', '/nowhere'];
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
  const start = `GET /api/state HTTP/1.1\r\nHost: 127.0.0.1:${console_.port}\r\nCookie: ${cookie}\r\nX-Marrowen-Key: ${key}\r\n`;
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
  // One that trickles on is ended in the midst, however late a busy machine does it.
  const slow = await raw('GET / HTTP/1.1\r\n', ...Array(Math.ceil(patience / 3000)).fill([3000, 'X-A: b\r\n']).flat());
  assert.ok(slow.seconds < patience / 2000, `a slow request was waited for ${slow.seconds} s`);
  for (const wrong of ['', '[]', 'null', '{"act":5}', '{"window":"x","act":"click"}', '{"act":"click","window":1,"control":-1}', '{'.repeat(50000)]) {
    const answer = await ask('/api/act', { method: 'POST', body: wrong, headers });
    assert.ok([200, 400].includes(answer.status), wrong.slice(0, 40));
    if (answer.status === 200) assert.notEqual(JSON.parse(answer.text).refusal, '');
  }
  assert.equal((await ask('/api/state', { headers: { Cookie: cookie } })).status, 200);
});

test('a web socket is for this console\'s own pages, and ends at what is none of its messages', async () => {
  const refused = [
    [{ Cookie: '' }, 401],
    [{ Host: `evil.example:${console_.port}` }, 421],
    [{ Origin: 'http://evil.example' }, 403],
    [{ Origin: 'null' }, 403],
    [{ Origin: undefined }, 403],
    [{ 'Sec-Fetch-Site': 'cross-site' }, 403],
    [{ Upgrade: 'other' }, 400],
    [{ 'Sec-WebSocket-Key': 'short' }, 400],
    [{ 'Sec-WebSocket-Version': '8' }, 426],
  ];
  for (const [headers, status] of refused) {
    assert.equal((await askSocket(headers)).status, status, JSON.stringify(headers));
  }
  const { socket } = await askSocket();
  assert.match(await next(socket, '"version"'), /"instance"/, 'the state comes by itself');
  for (const wrong of ['', '[]', '{"act":5}', '{"act":"click","window":1,"control":-1}']) {
    socket.write(frame(wrong));
    assert.match(await next(socket, '"refusal":"'), /"refusal":"[A-Z]/, wrong);
  }
  // A whole act in two pieces, and two in one.
  const apply = frame('{"act":"nothing"}');
  socket.write(apply.subarray(0, 5));
  await new Promise((done) => setTimeout(done, 50));
  socket.write(Buffer.concat([apply.subarray(5), apply]));
  assert.match(await next(socket, 'refusal'), /There is no act/);
  socket.destroy();
  const unmasked = Buffer.concat([Buffer.from([0x81, 2]), Buffer.from('{}')]);
  const tooLarge = Buffer.from([0x81, 0xff, 0, 0, 0, 0, 0, 32, 0, 0, 0, 0, 0, 0, 0x7b]);
  const noText = Buffer.from([0x81, 0x81, 0, 0, 0, 0, 0xff]);
  for (const bytes of [unmasked, tooLarge, noText, Buffer.from([0xff, 0x80, 0, 0, 0, 0]), Buffer.from([0x88, 0x80, 0, 0, 0, 0])]) {
    const other = (await askSocket()).socket;
    other.write(bytes);
    assert.equal(await next(other, 'refusal'), null, bytes.toString('hex'));
  }
});

test('tabs beyond the number that there may be wait, and keep no one else out', async () => {
  const tabs = [];
  let last = 101;
  while (last === 101 && tabs.length < 300) {
    const { status, socket } = await askSocket();
    last = status;
    if (socket) tabs.push(socket);
  }
  assert.equal(last, 503);
  assert.equal((await ask('/api/state', { headers: { Cookie: cookie } })).status, 200);
  for (const tab of tabs) tab.destroy();
  for (const end = Date.now() + patience; last === 503 && Date.now() < end; ) {
    const { status, socket } = await askSocket();
    last = status;
    socket?.destroy();
    await new Promise((done) => setTimeout(done, 20));
  }
  assert.equal(last, 101, 'a closed tab makes room');
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
  const files = pathOf(join(home.folder, 'files'));
  const list = (path) => ask(`/api/files?path=${encodeURIComponent(path)}`, { headers: { Cookie: cookie } });
  const top = await list('');
  assert.deepEqual(JSON.parse(top.text).folders.map((folder) => folder.path), [files]);
  const inside = JSON.parse((await list(files)).text);
  // Wine shows what links lead to in their place.
  if (!onWindows) {
    assert.deepEqual(inside.folders.map((folder) => folder.name), ['inside'], 'links that lead out are not shown');
    assert.deepEqual(inside.files, []);
  }
  assert.equal((await list(pathOf(join(home.folder, 'files', 'inside')))).status, 200);
  const links = onWindows ? [] : [`${files}/way-out`];
  const out = [...links, '/', '/etc', pathOf(home.folder), `${files}/..`, `${files}/../files-not`, `${files}-not`, `${files}/inside/../../..`, 'C:\\', 'C:\\..\\..', '\\\\localhost\\C$', '../..', `${files}\0/../..`];
  for (const path of out) assert.equal((await list(path)).status, 404, path);
});

test('others reach it over TLS only, unless that is said to be wanted', async () => {
  // To a file, since Wine's own processes keep a pipe open.
  const refusal = (...more) => {
    const file = join(home.folder, 'refusal');
    const words = run('--home', join(home.folder, 'home'), 'serve', '--listen', '0.0.0.0:0', ...more);
    const { status } = spawnSync(...words, { stdio: ['ignore', 'ignore', openSync(file, 'w')], timeout: patience });
    return { status, stderr: readFileSync(file, 'utf8') };
  };
  const refused = refusal();
  assert.equal(refused.status, 1);
  assert.match(refused.stderr, onWindows ? /has no TLS/ : /--tls-cert/);
  if (onWindows) return;
  const keyFile = join(home.folder, 'key.pem');
  const certificate = join(home.folder, 'certificate.pem');
  execFileSync('openssl', ['req', '-x509', '-newkey', 'ec', '-pkeyopt', 'ec_paramgen_curve:P-256', '-nodes', '-days', '2', '-subj', '/CN=localhost', '-keyout', keyFile, '-out', certificate], { stdio: 'ignore' });
  const unfit = refusal('--tls-cert', keyFile, '--tls-key', keyFile);
  assert.equal(unfit.status, 1);
  const secure = await serve(home, ['--tls-cert', certificate, '--tls-key', keyFile]);
  try {
    assert.match(secure.address, /^https:/);
    const way = new URL(secure.address);
    const first = await ask(way.pathname + way.search, { port: secure.port, tls: true });
    assert.equal(first.status, 303);
    assert.match(first.headers['set-cookie'][0], /; Secure/);
    const plain = await ask('/', { port: secure.port }).catch(() => ({ status: 0 }));
    assert.notEqual(plain.status, 200);
    const Cookie = first.headers['set-cookie'][0].split(';')[0];
    key = first.headers.location.slice('/#key='.length);
    assert.equal((await ask('/api/state', { port: secure.port, tls: true, headers: { Cookie } })).status, 200);
    const { socket } = await askSocket({ Cookie }, { port: secure.port, tls: true });
    assert.match(await next(socket, '"version"'), /"instance"/);
    socket.write(frame('{"act":"nothing"}'));
    assert.match(await next(socket, 'refusal'), /There is no act/);
    socket.destroy();
  } finally {
    await secure.stop();
  }
});
