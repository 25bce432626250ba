// A page's path as the part of an address behind its "#".

export const toHash = (node: string) => `#/${node.split('::').map(encodeURIComponent).join('/')}`;
export function fromHash(hash: string): string {
  try {
    return hash.startsWith('#/') ? hash.slice(2).split('/').map(decodeURIComponent).join('::') : '';
  } catch {
    return '';
  }
}
