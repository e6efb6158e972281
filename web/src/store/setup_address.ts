/// The page's address may name a set-up of the logger.

/// The name in the address's hash; null where there is none.
export function setupInAddress(address: string): string | null {
  const match = /#setup=([^&]*)/.exec(address);
  try {
    return match ? decodeURIComponent(match[1]!) : null;
  } catch {
    return null;
  }
}

/// The address of the page with the named set-up.
export function setupLink(address: string, name: string): string {
  return `${address.replace(/#.*$/s, "")}#setup=${encodeURIComponent(name)}`;
}
