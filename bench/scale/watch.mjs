// Groups of processes and a bus server, watched for a while.
import { sleep } from "../../tests/kit/js/wait.mjs";
import { machineTime, processorTime, proportionalMemory } from "./usage.mjs";

export const kWindow = 6000; // ms

export class Watch {
  #groups;
  #statistics;

  // groups: a function that answers with the process ids of each group.
  constructor(monitorPort, groups) {
    this.#groups = groups;
    this.#statistics = async () => (await fetch(`http://127.0.0.1:${monitorPort}/varz`)).json();
  }

  memory() {
    return Object.fromEntries(Object.entries(this.#groups()).map(([name, pids]) => [name, proportionalMemory(pids)]));
  }

  // Waits until no more messages a second come to the bus than these, at most half a minute. Answers with whether it was
  // so: a network that has just come together has more to say than one at rest.
  async settled(rate) {
    let before = await this.#statistics();
    for (let second = 0; second < 30; second++) {
      await sleep(1000);
      const now = await this.#statistics();
      if (now.in_msgs - before.in_msgs <= rate) return true;
      before = now;
    }
    return false;
  }

  // A second's share of everything, over some seconds: cores of each group (of "children" without their keep-alive), of
  // the browsers here and of the whole machine, and the bus server's messages and bytes.
  async window() {
    const before = await this.#look();
    await sleep(kWindow);
    const after = await this.#look();
    const seconds = (after.time - before.time) / 1000;
    const rate = (of) => (of(after) - of(before)) / seconds;
    const groups = Object.keys(before.cpu).map((name) => [name, rate((look) => look.cpu[name].others)]);
    return {
      ...Object.fromEntries(groups),
      keepAlive: rate((look) => look.cpu.children?.keepAlive ?? 0),
      browsers: rate((look) => look.own),
      machine: rate((look) => look.machine),
      messagesIn: rate((look) => look.bus.in_msgs),
      messagesOut: rate((look) => look.bus.out_msgs),
      bytesIn: rate((look) => look.bus.in_bytes),
      bytesOut: rate((look) => look.bus.out_bytes),
    };
  }

  async #look() {
    const cpu = Object.fromEntries(Object.entries(this.#groups()).map(([name, pids]) => [name, processorTime(pids)]));
    const { user, system } = process.cpuUsage();
    return { cpu, own: (user + system) / 1e6, machine: machineTime(), time: performance.now(), bus: await this.#statistics() };
  }
}
