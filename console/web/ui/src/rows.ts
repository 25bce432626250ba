// What the tree and long lists share: rows of one height, of which those in sight are drawn.

export const rowHeight = 32;

/** Scrolls no further than the row needs to be seen whole. */
export function reveal(box: HTMLElement | null, row: number) {
  if (!box) return;
  const y = row * rowHeight;
  if (y < box.scrollTop) box.scrollTop = y;
  else if (y + rowHeight > box.scrollTop + box.clientHeight) box.scrollTop = y + rowHeight - box.clientHeight;
}

/** The row that the key leads to from `active`; undefined for a key that leads nowhere. */
export function stepOf(key: string, active: number, total: number, inSight: number): number | undefined {
  const page = Math.max(1, inSight - 1);
  const steps: Record<string, number> = {
    ArrowDown: active + 1,
    ArrowUp: active - 1,
    PageDown: active + page,
    PageUp: active - page,
    Home: 0,
    End: total - 1,
  };
  const row = steps[key];
  return row === undefined || total === 0 ? undefined : Math.max(0, Math.min(total - 1, row));
}
