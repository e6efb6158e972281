// Keeps the screen of a tablet on while the page is seen.

/// Asks for it now and whenever the page is seen again. Returns what gives it up.
export function keepAwake(): () => void {
  let lock: { release(): Promise<void> } | null = null;
  const ask = async () => {
    if (document.visibilityState !== "visible" || !("wakeLock" in navigator)) return;
    try {
      lock = await navigator.wakeLock.request("screen");
    } catch {
      // Low battery, or not allowed: the screen goes dark as ever.
    }
  };
  void ask();
  document.addEventListener("visibilitychange", ask);
  return () => {
    document.removeEventListener("visibilitychange", ask);
    void lock?.release();
  };
}
