// What stands above the page and waits for an answer: dialogs, messages and pickers, one above the other.

import { useState } from 'preact/hooks';
import { allTaken } from './confirm';
import { Controls } from './controls';
import { WithHelp } from './help';
import { Modal } from './modal';
import { Picker } from './picker';
import { plain, type DialogWindow, type MessageWindow, type ModalWindow } from './state';
import { store } from './store';
import { act } from './transport';

function Dialog({ modal }: { modal: DialogWindow }) {
  const { controls } = modal;
  const has = (caption: string) =>
    controls.some((control) => control.kind === 'button' && plain(control.caption).text.toLowerCase() === caption);
  const press = async (name: 'ok' | 'close' | 'enterKey') => {
    if (name !== 'close' && !(await allTaken(modal.window))) return;
    void act({ act: name, window: modal.window });
  };
  return (
    <Modal label={modal.caption || 'Dialog'} onClose={() => void press('close')} onEnter={() => void press('enterKey')} wide>
      <h2>{modal.caption}</h2>
      <div class="body">
        <WithHelp number={modal.help}>
          <Controls controls={controls} window={modal.window} title={modal.caption || 'Dialog'} />
        </WithHelp>
      </div>
      {!has('cancel') && !has('close') && (
        <div class="buttons">
          <button type="button" onClick={() => void press('close')}>
            Cancel
          </button>
          {!has('ok') && (
            <button type="button" class="primary" onClick={() => void press('ok')}>
              OK
            </button>
          )}
        </div>
      )}
    </Modal>
  );
}

function Message({ modal }: { modal: MessageWindow }) {
  const { buttons } = modal;
  const answer = (text: string) => void act({ act: 'answer', window: modal.window, text });
  // Enter without reading shall delete and reveal nothing: the answer that changes nothing has the focus.
  const first = buttons.length - 1;
  return (
    <Modal label={buttons.length > 1 ? 'Question' : 'Message'} onClose={() => void act({ act: 'close', window: modal.window })}>
      <p class="message" role="alert">
        {modal.text}
      </p>
      <div class="buttons">
        {buttons.map((text, i) => (
          <button type="button" data-first={i === first ? '' : undefined} class={buttons.length === 1 ? 'primary' : ''} onClick={() => answer(text)}>
            {text}
          </button>
        ))}
      </div>
    </Modal>
  );
}

/** Stands above all while the console is at work and takes nothing but the wish to stop. */
export function Working({ done, unit }: { done: number; unit: string }) {
  const [stopping, setStopping] = useState(false);
  function stop() {
    setStopping(true);
    void act({ act: 'stop' });
  }
  return (
    <Modal label="At work" onClose={stop}>
      <p class="message working" role="status">
        <span class="spinner" aria-hidden="true" />
        {done.toLocaleString('en')} {unit}
      </p>
      <div class="buttons">
        <button type="button" data-first="" disabled={stopping} onClick={stop}>
          Cancel
        </button>
      </div>
    </Modal>
  );
}

/** Another tab holds a dialog, and nothing can be done here before it is answered. */
export function Asked() {
  return (
    <p class="problem asked" role="status">
      Another tab of the console waits for an answer.{' '}
      <button type="button" class="link" onClick={() => void act({ act: 'takeWindows' })}>
        Answer it here
      </button>
    </p>
  );
}

export function Windows({ windows }: { windows: ModalWindow[] }) {
  if (store.unseen) return null;
  return (
    <>
      {windows.map((modal) => {
        if (modal.kind === 'dialog') return <Dialog key={modal.window} modal={modal} />;
        if (modal.kind === 'message') return <Message key={modal.window} modal={modal} />;
        return <Picker key={modal.window} modal={modal} />;
      })}
    </>
  );
}
