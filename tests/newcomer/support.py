"""The newcomer: no rights, a folder with a blank and an accent, no HOME, the console behind a link."""

import os
import shutil
import subprocess
import tempfile

NOBODY = 65534
PATIENCE = 60


class Newcomer:
    """A folder of its own, with a copy of what was built and a link to it, as `./marrowen` and in the PATH."""

    def __init__(self, program):
        self.top = tempfile.mkdtemp(prefix='marrowen-newcomer-')
        self.folder = os.path.join(self.top, 'mar röwen')
        built = os.path.join(self.top, 'built')
        shutil.copytree(os.path.dirname(os.path.realpath(program)), built)
        os.makedirs(self.folder)
        os.symlink(os.path.join(built, 'marrowen'), os.path.join(self.folder, 'marrowen'))
        self.root = os.getuid() == 0
        if self.root:
            os.chown(self.folder, NOBODY, NOBODY)
            os.chmod(self.top, 0o755)
        self.environment = {
            'PATH': self.folder + ':' + os.environ['PATH'],
            'LC_ALL': 'C.UTF-8',
            'MARROWEN_HOME': self.path('homes', 'home'),
        }

    def path(self, *parts):
        return os.path.join(self.folder, *parts)

    def run(self, words, without=(), **more):
        """A command, as a list of words or a line for the shell."""
        line = ['bash', '-c', words] if isinstance(words, str) else words
        environment = {name: text for name, text in self.environment.items() if name not in without}
        who = {'user': NOBODY, 'group': NOBODY, 'extra_groups': []} if self.root else {}
        more.setdefault('stderr', subprocess.PIPE)
        more.setdefault('cwd', self.folder)
        return subprocess.run(line, env=environment, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, text=True, timeout=PATIENCE, check=False, **who, **more)

    def remove(self):
        shutil.rmtree(self.top)
