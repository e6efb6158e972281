// The processes of a server, from outside.
import { readdirSync, readFileSync } from "node:fs";

// The ids of a process's children.
export function childrenOf(pid) {
  return readFileSync(`/proc/${pid}/task/${pid}/children`, "latin1").split(" ").filter(Boolean).map(Number);
}

// The children of Apache that serve a websocket: those with the session's bus thread.
export function sessionsOf(apache) {
  return childrenOf(apache.part.pid).filter((pid) => {
    try {
      return readdirSync(`/proc/${pid}/task`).some((task) => readFileSync(`/proc/${pid}/task/${task}/comm`, "latin1").startsWith("krpbus"));
    } catch {
      return false; // it has just ended
    }
  });
}

// Resident memory of a process in MB; 0 when it has ended.
export function memoryOf(pid) {
  try {
    return Number(/^VmRSS:\s+(\d+)/m.exec(readFileSync(`/proc/${pid}/status`, "latin1"))?.[1] ?? 0) / 1024;
  } catch {
    return 0;
  }
}
