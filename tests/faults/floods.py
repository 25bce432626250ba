"""Attacks by those who connect to the console: many, slow, large, ambiguous, and such that never read."""
import base64
import json
import os
import re
import select
import socket
import struct

from support import HEAD, PATIENCE, TAIL, Console, until


def connect(console, receives=0):
    connection = socket.socket()
    connection.settimeout(PATIENCE)
    if receives:
        connection.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, receives)
    connection.connect(('127.0.0.1', console.port))
    return connection


def head(console, line, *more):
    fields = [f'{name}: {value}' for name, value in console.headers.items()]
    return '\r\n'.join([line, f'Host: 127.0.0.1:{console.port}', *fields, *more, '', '']).encode()


def answers(console, request):
    """The statuses of all that comes back until the console closes the connection."""
    with connect(console) as connection:
        try:
            connection.sendall(request)
        except OSError:
            pass
        got = b''
        try:
            while piece := connection.recv(65536):
                got += piece
        except ConnectionError:
            pass
    return [int(status) for status in re.findall(rb'HTTP/1\.1 (\d{3})', got)]


def open_socket(console, receives=0):
    connection = connect(console, receives)
    connection.sendall(head(console, 'GET /api/socket HTTP/1.1', 'Connection: Upgrade', 'Upgrade: websocket',
                            'Sec-WebSocket-Version: 13', 'Sec-WebSocket-Key: ' + base64.b64encode(bytes(16)).decode()))
    got = b''
    while b'\r\n\r\n' not in got:
        got += connection.recv(1)
    assert got.startswith(b'HTTP/1.1 101'), got
    return connection


def frame(payload, opcode=1, final=True):
    return struct.pack('!BBQI', opcode | (0x80 if final else 0), 0xff, len(payload), 0) + payload


def ends(connection):
    try:
        while connection.recv(65536):
            pass
    except ConnectionError:
        pass
    return True


def large_page(console):
    """Shows a page whose state has 200 KB, and returns where its text is."""
    console.act(act='node', text='Banner')
    state = console.state()
    at = {'window': state['window'],
          'control': [i for i, c in enumerate(state['controls']) if c.get('storedAs') == 'SplashBanner'][0]}
    console.act(act='rewrite', text='x' * 200000, **at)
    assert len(json.dumps(console.state())) > 200000
    return at


def resident(process):
    with open(f'/proc/{process}/status', encoding='ascii') as file:
        return int(re.search(r'VmRSS:\s+(\d+) kB', file.read())[1]) * 1024


def sockets_of(process):
    folder = f'/proc/{process}/fd'
    count = 0
    for name in os.listdir(folder):
        try:
            count += os.readlink(os.path.join(folder, name)).startswith('socket:')
        except FileNotFoundError:  # it was closed meanwhile
            pass
    return count


def slow_connections_keep_no_one_out(home):
    console = Console(home)
    heads = [b'', b'GET / HT', b'GET / HTTP/1.1\r\nX-A:', head(console, 'POST /api/act HTTP/1.1', 'Content-Length: 9')]
    slow = []
    try:
        for number in range(300):
            slow.append(connect(console))
            slow[-1].sendall(heads[number % len(heads)])
        assert 'version' in console.state()
        assert console.act(act='node', text='Users')['refusal'] == ''
        # Room was made by those that had idled longest, and the last one is served. Two threads greet them, so
        # neighbours may change places.
        gone = [select.select([one], [], [], 0)[0] != [] for one in slow]
        assert any(gone) and not any(gone[150:]), [i for i, one in enumerate(gone) if one]
        slow[-4].sendall(head(console, 'GET /api/state HTTP/1.1'))
        assert slow[-4].recv(12) == b'HTTP/1.1 200'
    finally:
        for one in slow:
            one.close()
        console.stop()


def no_request_hides_in_another(home):
    console = Console(home)
    inner = head(console, 'GET /api/state HTTP/1.1')
    size = f'Content-Length: {len(inner)}'
    post = 'POST /api/act HTTP/1.1'
    try:
        for fields, status in (
                (('GET /api/state HTTP/1.1', size), 400),
                (('GET /api/state HTTP/1.1', 'Transfer-Encoding: chunked'), 411),
                ((post, size, size), 400),
                ((post, size, 'Content-Length: 0'), 400),
                ((post, size, 'Transfer-Encoding: chunked'), 400),
                ((post, 'Transfer-Encoding: chunked'), 411),
                ((post, 'Content-Length: -1'), 400),
                ((post, size, 'Host: 127.0.0.1'), 421),
                (('GET /api/state HTTP/1.1', 'Content-Length: 0'), 200)):
            got = answers(console, head(console, *fields, 'Connection: close') + inner)
            assert got == [status], (fields, got)
        # What is compressed is not taken apart: it is no act.
        packed = base64.b64decode('H4sIAAAAAAAAA6tWSkwuUbJSSiwoyKlUqgUAd2Y2XhEAAAA=')
        got = answers(console, head(console, post, f'Content-Length: {len(packed)}', 'Content-Encoding: gzip') + packed)
        assert got == [400], got
    finally:
        console.stop()


def what_is_too_large_is_refused(home):
    console = Console(home)
    post = 'POST /api/act HTTP/1.1'
    try:
        assert answers(console, head(console, 'GET / HTTP/1.1', 'X-A: ' + 'b' * 20000)) == [431]
        assert answers(console, head(console, 'GET / HTTP/1.1', *['X-A: b'] * 70)) == [431]
        assert answers(console, b'GET /' + b'a' * 20000) == [431]
        # It is refused before it has come.
        assert answers(console, head(console, post, 'Content-Length: 2000000')) == [413]
        assert answers(console, head(console, post, 'Content-Length: 99999999999999999999')) == [400]
        whole = open_socket(console)
        whole.sendall(frame(b'{' * (2 << 20))[:100000])
        assert ends(whole)
        pieces = open_socket(console)
        try:
            for number in range(40):
                pieces.sendall(frame(b' ' * 65536, 0 if number else 1, False))
        except ConnectionError:
            pass
        assert ends(pieces)
        assert 'version' in console.state()
    finally:
        console.stop()


def rows_come_in_bounded_numbers(home):
    home.write('users.xml', HEAD + '<k name="Users">' + ''.join(
        f'<k name="user{n}"><v name="a" value="1"/></k>' for n in range(700)) + '</k>' + TAIL)
    home.text('import', 'users.xml')
    console = Console(home)
    try:
        console.act(act='node', text='Users')
        state = console.state()
        users = [i for i, control in enumerate(state['controls']) if control['name'] == 'Users'][0]
        for count in ('999999999', '-1', '18446744073709551615'):
            got = json.loads(console.ask('GET', f'/api/rows?window={state["window"]}&control={users}&first=0&count={count}').text)
            assert got['total'] >= 700 and 0 < len(got['rows']) <= 500, (count, len(got['rows']))
            got = json.loads(console.ask('GET', f'/api/tree?node=Users&first=0&count={count}').text)
            assert got['total'] >= 700 and 0 < len(got['nodes']) <= 500, (count, len(got['nodes']))
        past = console.ask('GET', f'/api/rows?window={state["window"]}&control={users}&first=18446744073709551615').text
        assert json.loads(past)['rows'] == []
    finally:
        console.stop()


def who_never_reads_costs_little_and_is_let_go(home):
    console = Console(home)
    deaf = []
    try:
        at = large_page(console)
        process = console.children()[0]
        without = sockets_of(process)
        deaf = [open_socket(console, 4096) for _ in range(20)]
        before = resident(process)
        # 150 states of 200 KB for each of them.
        for number in range(150):
            console.act(act='rewrite', text=str(number % 10) + 'x' * 200000, **at)
        grown = resident(process) - before
        assert grown < 100 << 20, f'{grown >> 20} MB wait for those who do not read'
        assert sockets_of(process) > without
        until(lambda: sockets_of(process) <= without + 1, 'those who do not read to be let go')
        assert 'version' in console.state()
    finally:
        for one in deaf:
            one.close()
        console.stop()
