"""What the faults share: a scratch home, commands on it, and a serving console with one browser's rights."""
import http.client
import json
import os
import re
import shutil
import signal
import subprocess
import tempfile
import time

PATIENCE = 120
SERVER = r'HKLM\Software\TesselWorks'
HEAD = ('<?xml version="1.0" encoding="UTF-8"?>\r\n<registry>\r\n'
        '<product name="Tessel Marrowen SSH Server"/>\r\n'
        '<k name="HKEY_LOCAL_MACHINE"><k name="SOFTWARE"><k name="TesselWorks"><k name="SSHD">')
TAIL = '</k></k></k></k></registry>\r\n'


class Home:
    """A folder with a home in it, which is also the working folder of what runs."""

    def __init__(self, program):
        self.program = program
        self.folder = tempfile.mkdtemp(prefix='marrowen-faults-')
        self.home = os.path.join(self.folder, 'home')
        self.store = os.path.join(self.home, 'registry', 'data.mdb')
        os.mkdir(os.path.join(self.folder, 'tmp'))
        self.started = []
        self.environment = dict(os.environ, MARROWEN_HOME=self.home, TMPDIR=os.path.join(self.folder, 'tmp'))

    def start(self, *words, **more):
        more.setdefault('stdout', subprocess.PIPE)
        more.setdefault('stderr', subprocess.PIPE)
        more.setdefault('stdin', subprocess.DEVNULL)
        child = subprocess.Popen([self.program, *words], env=self.environment, cwd=self.folder, **more)
        self.started.append(child)
        return child

    def run(self, *words, **more):
        more.setdefault('stdin', None if 'input' in more else subprocess.DEVNULL)
        if 'input' in more:
            del more['stdin']
        return subprocess.run([self.program, *words], env=self.environment, cwd=self.folder, capture_output=True,
                              timeout=PATIENCE, **more)

    def text(self, *words, status=0, **more):
        """What the command prints, on both streams."""
        done = self.run(*words, **more)
        printed = (done.stdout + done.stderr).decode('utf-8', 'replace')
        assert done.returncode == status, f'{words}: status {done.returncode}, not {status}: {printed[-2000:]}'
        return printed

    def path(self, *parts):
        return os.path.join(self.folder, *parts)

    def write(self, name, text):
        with open(self.path(name), 'wb') as file:
            file.write(text.encode() if isinstance(text, str) else text)
        return name

    def remember_credentials(self):
        self.write('pad.xml', HEAD + '<k name="PAD"><k name="anna"><v name="(Default)" value="pass" '
                                     'type="REG_BINARY"/></k></k>' + TAIL)
        self.text('import', 'pad.xml')

    def stands_open(self):
        return b'OpenedForExport' in self.run('reg', 'query', SERVER).stdout

    def leftovers(self):
        found = []
        for folder, _, names in os.walk(self.folder):
            found += [name for name in names if name.startswith('.marrowen-') or 'partial' in name]
        return found

    def remove(self):
        for child in self.started:
            if child.poll() is None:
                child.kill()
                child.wait()
        shutil.rmtree(self.folder, ignore_errors=True)


class Console:
    """`serve`, and the acts of a person in a browser."""

    def __init__(self, home, *words):
        self.home = home
        self.process = home.start('serve', '--listen', '127.0.0.1:0', *words)
        line = self.process.stdout.readline().decode()
        found = re.search(r'http://127\.0\.0\.1:(\d+)(/\?token=\w+)', line)
        assert found, line + self.process.stderr.read().decode()
        self.port = int(found[1])
        answer = self.ask('GET', found[2])
        self.headers = {'Cookie': answer.getheader('Set-Cookie').split(';')[0],
                        'X-Marrowen-Key': answer.getheader('Location').split('=')[1],
                        'Origin': f'http://127.0.0.1:{self.port}'}

    def ask(self, method, path, body=None):
        connection = http.client.HTTPConnection('127.0.0.1', self.port, timeout=PATIENCE)
        connection.request(method, path, body, getattr(self, 'headers', {}))
        answer = connection.getresponse()
        answer.text = answer.read().decode('utf-8', 'replace')
        connection.close()
        return answer

    def state(self):
        return json.loads(self.ask('GET', '/api/state').text)

    def act(self, **act):
        return json.loads(self.ask('POST', '/api/act', json.dumps(act)).text)

    def control(self, caption):
        state = self.state()
        index = [control['caption'] for control in state['controls']].index(caption)
        return {'window': state['window'], 'control': index}

    def answer(self, **act):
        """An act at the window on top."""
        return self.act(window=self.state()['windows'][-1]['window'], **act)

    def begin_export(self, path):
        """Presses the button and names the file: the question about credentials stands open then."""
        assert self.act(act='node', text='Configuration Management')['refusal'] == ''
        self.act(act='click', **self.control('Export Settings'))
        return self.answer(act='answer', text=path)

    def children(self):
        path = f'/proc/{self.process.pid}/task/{self.process.pid}/children'
        with open(path, encoding='ascii') as file:
            return [int(pid) for pid in file.read().split()]

    def stop(self, how=signal.SIGTERM):
        if self.process.poll() is None:
            self.process.send_signal(how)
        self.process.wait(PATIENCE)
        return self.process.returncode


def until(holds, what):
    end = time.monotonic() + PATIENCE
    while not holds():
        assert time.monotonic() < end, 'waited in vain for ' + what
        time.sleep(0.02)
