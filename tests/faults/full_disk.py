"""A disk that is full at each write of a command in turn: all of the change is there, or nothing and a sentence."""
import os
import re
import shutil
import subprocess

from support import HEAD, PATIENCE, TAIL

COMMANDS = [
    ('set', 'General Settings::Compression', 'Enable Compression=on', 'Level=7'),
    ('user', 'add', 'anna'),
    ('import', 'users.xml'),
    ('export', '--force', '--credentials', 'yes', 'out.xml'),
    ('home', 'backup'),
    ('home', 'restore'),
    ('computer', 'add', 'branch'),
    ('certificate', 'add', '--store', 'trusted', 'c.pem'),
    ('key', 'import', 'key.pub', '--user', 'anna'),
]


def prepare(place):
    source = os.path.join(os.path.dirname(os.path.realpath(__file__)), 'full_disk.c')
    subprocess.run(['gcc', '-shared', '-fPIC', '-O1', '-o', place.path('full_disk.so'), source, '-ldl'], check=True)
    place.write('users.xml', HEAD + '<k name="Users">' + ''.join(
        f'<k name="user{n}"><v name="a" value="1"/></k>' for n in range(50)) + '</k>' + TAIL)
    subprocess.run('openssl req -x509 -newkey rsa:2048 -nodes -days 30 -subj /CN=anna -keyout k.pem -out c.pem &&'
                   'ssh-keygen -q -N "" -t ed25519 -f key', shell=True, cwd=place.folder, check=True, capture_output=True)
    place.text('tree')
    place.text('home', 'backup')
    place.remember_credentials()
    place.text('export', '--credentials', 'no', 'out.xml')
    shutil.copytree(place.home, place.path('kept'))
    shutil.copy(place.path('out.xml'), place.path('kept.xml'))


def reset(place):
    shutil.rmtree(place.home)
    shutil.copytree(place.path('kept'), place.home)
    shutil.copy(place.path('kept.xml'), place.path('out.xml'))


def state(place):
    """All settings, and every file; some names tell the time, those of keys are drawn by lot."""
    stored = place.run('export', '--credentials', 'yes', '-')
    assert stored.returncode == 0, stored.stderr
    files = []
    for folder, _, names in os.walk(place.folder):
        files += [re.sub(r'\d{8}-\d{6}\.\d+', 'TIME', os.path.join(folder, name)) for name in names]
    with open(place.path('out.xml'), 'rb') as file:
        return re.sub(rb'\{[0-9A-F-]{36}\}', b'{}', stored.stdout), sorted(files), file.read()


def run(place, words, **more):
    environment = dict(place.environment, LD_PRELOAD=place.path('full_disk.so'), **more)
    return subprocess.run([place.program, *words], env=environment, cwd=place.folder, capture_output=True,
                          stdin=subprocess.DEVNULL, timeout=PATIENCE, check=False)


def a_disk_that_is_full_at_any_write_leaves_all_or_nothing(home):
    prepare(home)
    total = 0
    home.write('count', '0')
    for words in COMMANDS:
        reset(home)
        before = state(home)
        assert run(home, words, FULL_DISK_COUNT=home.path('count')).returncode == 0, words
        after = state(home)
        assert after != before, words
        with open(home.path('count'), encoding='ascii') as file:
            writes = int(file.read())
        assert writes > 2, (words, writes)
        for number in range(1, writes + 1):
            for once in ({}, {'FULL_DISK_ONCE': '1'}):
                reset(home)
                done = run(home, words, FULL_DISK_FROM=str(number), **once)
                what = (words, number, once, done.returncode, done.stderr)
                total += 1
                now = state(home)
                if done.returncode == 0:
                    assert now == after, what
                else:
                    assert done.returncode == 1 and done.stderr.startswith(b'marrowen: '), what
                    assert done.stderr.count(b'\n') == 1 and done.stdout == b'', what
                    assert now == before, (what, set(before[1]) ^ set(now[1]))
    print(f'{total} commands on a full disk')


def a_home_that_could_not_be_made_is_made_by_the_next_command(home):
    prepare(home)
    tree = home.text('tree')
    for number in range(1, 1000):
        shutil.rmtree(home.home)
        done = run(home, ('tree',), FULL_DISK_FROM=str(number))
        if done.returncode == 0:
            break
        assert done.returncode == 1 and re.fullmatch(rb'marrowen: [^\n]+\n', done.stderr), (number, done.stderr)
        assert home.text('tree') == tree, number
    assert 2 < number < 999, number
