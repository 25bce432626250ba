"""Acts in the browser that a kill interrupts, of the pages' process alone or of the whole console."""
import http.client
import os
import random
import re
import signal
import threading
import time

from support import HEAD, PATIENCE, TAIL, Console, until

USERS = 2000


def stored(place, pattern):
    return set(re.findall(pattern, place.text('export', '--credentials', 'yes', '-')))


def edit(place, console, number):
    """An edit on each of two pages, which wait for one Apply."""
    for node, value in (('General Settings', 'SessionLimit'), ('Banner', 'SplashBanner')):
        assert console.act(act='node', text=node)['refusal'] == ''
        state = console.state()
        index = [i for i, control in enumerate(state['controls']) if control.get('storedAs') == value][0]
        console.act(act='rewrite', text=str(number), window=state['window'], control=index)
    return {'act': 'apply'}


def choose(place, console, number):
    """A file whose import waits for its last button."""
    place.write('users.xml', HEAD + '<k name="Users">' + ''.join(
        f'<k name="user{n}"><v name="mark" value="{number}"/></k>' for n in range(USERS)) + '</k>' + TAIL)
    assert console.act(act='node', text='Configuration Management')['refusal'] == ''
    console.act(act='click', **console.control('Import Settings'))
    console.answer(act='answer', text='Yes')
    console.answer(act='answer', text=place.path('users.xml'))
    # What the import will do is found out first, which may take longer than its act is waited for.
    until(lambda: [w for w in console.state()['windows'] if w['kind'] == 'dialog'], 'the preview of the import')
    window = console.state()['windows'][-1]
    index = [control['caption'] for control in window['controls']].index('Import')
    return {'act': 'click', 'window': window['window'], 'control': index}


def ask_for_credentials(place, console, number):
    """An export whose question stands open, and with it the keys of the credentials."""
    console.begin_export(place.path('out.xml'))
    return {'act': 'answer', 'window': console.state()['windows'][-1]['window'], 'text': 'Yes'}


# What goes before, and of what all of it is there or nothing.
ACTS = [
    (edit, r'name="(?:SessionLimit|SplashBanner)" value="(\d+)"'),
    (choose, r'name="mark" value="(\d+)"'),
    (ask_for_credentials, r'name="mark" value="(\d+)"'),
]


def act_and_kill(console, act, wait, whole):
    def send():
        try:
            console.act(**act)
        except (OSError, http.client.HTTPException, ValueError):
            pass  # it was killed meanwhile

    sender = threading.Thread(target=send)
    pages = console.children()[0]
    sender.start()
    time.sleep(wait)
    os.kill(console.process.pid if whole else pages, signal.SIGKILL)
    console.process.wait(PATIENCE)
    sender.join(PATIENCE)


def acts_in_the_browser_that_are_killed_are_done_or_not(home, kills=int(os.environ.get('FAULT_KILLS', '250')) // 6):
    home.remember_credentials()
    chance = random.Random(815)
    took = {}
    done = 0
    for number in range(1000, 1000 + kills):
        prepare, pattern = ACTS[number % len(ACTS)]
        console = Console(home, '--files', home.folder)
        act = prepare(home, console, number)
        if prepare not in took:
            begun = time.monotonic()
            console.act(**act)
            took[prepare] = time.monotonic() - begun
            if prepare is not ask_for_credentials:
                until(lambda: str(number) in stored(home, pattern), 'the act to be done')
            console.stop()
            continue
        act_and_kill(console, act, chance.random() * took[prepare], chance.random() < 0.5)
        until(lambda: home.run('tree').returncode == 0 and not home.stands_open(), 'the list to be put back')
        assert home.text('home', 'check') == 'The registry is sound.\n'
        marks = stored(home, pattern)
        assert len(marks) == 1, (prepare.__name__, marks)
        done += str(number) in marks
        if os.path.exists(home.path('out.xml')):
            with open(home.path('out.xml'), 'rb') as file:
                assert file.read().endswith(b'</registry>\r\n')
        home.text('export', '--force', '--credentials', 'no', 'next.xml')
        assert home.leftovers() == [], home.leftovers()
    print(f'{kills - len(ACTS)} acts in the browser were killed: {done} were done, the others not at all')
