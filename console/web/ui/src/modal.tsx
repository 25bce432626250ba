// The frame of whatever stands above the page.

import type { ComponentChildren } from 'preact';
import { useEffect, useRef } from 'preact/hooks';
import { notice, tell } from './notices';

/** A window that keeps everything below it out of reach. */
export function Modal({ label, onClose, onEnter, children, wide }: { label: string; onClose: () => void; onEnter?: () => void; children: ComponentChildren; wide?: boolean }) {
  const element = useRef<HTMLDialogElement>(null);
  useEffect(() => {
    const dialog = element.current!;
    const before = document.activeElement as HTMLElement | null;
    dialog.showModal();
    const first = dialog.querySelector<HTMLElement>('[data-first], .controls :is(input, select, textarea, button, [tabindex="0"]):not([disabled])');
    first?.focus();
    // What is typed takes the place of what was proposed.
    if (first instanceof HTMLInputElement) first.select();
    return () => {
      dialog.close();
      if (before?.isConnected) before.focus();
    };
  }, []);
  return (
    <dialog
      ref={element}
      aria-label={label}
      class={wide ? 'wide' : ''}
      onCancel={(event) => {
        event.preventDefault();
        onClose();
      }}
      onKeyDown={(event) => {
        if (event.key === 'Escape') {
          event.preventDefault();
          event.stopPropagation();
          onClose();
        }
        const target = event.target as HTMLElement;
        if (event.key !== 'Enter' || !onEnter || event.isComposing) return;
        if (target.closest('button, textarea, a, [type=search]')) return;
        event.preventDefault();
        onEnter();
      }}
    >
      {children}
      {notice()?.error && (
        <p class="refusal" role="alert">
          {notice()!.text}{' '}
          <button type="button" class="quiet" aria-label="Dismiss" onClick={() => tell(null)}>
            ×
          </button>
        </p>
      )}
    </dialog>
  );
}

interface QuestionProps {
  text: string;
  /** What the dangerous answer does, and what changes nothing. */
  yes: string;
  no: string;
  onYes: () => void;
  onNo: () => void;
}

/** Asks before something is lost; Enter and Escape lose nothing. */
export function Question({ text, yes, no, onYes, onNo }: QuestionProps) {
  return (
    <Modal label="Question" onClose={onNo}>
      <p class="message">{text}</p>
      <div class="buttons">
        <button type="button" class="danger" onClick={onYes}>
          {yes}
        </button>
        <button type="button" data-first="" onClick={onNo}>
          {no}
        </button>
      </div>
    </Modal>
  );
}
