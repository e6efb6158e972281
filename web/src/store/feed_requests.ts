/// Questions to the logger through the feed, and their answers.
import { Commands, type Ask } from "../protocol/commands";
import { NoAnswer, Priority } from "../protocol/request_queue";
import type { Frame } from "../protocol/types";
import type { FeedLink, FromFeed } from "../worker/messages";

export class FeedRequests {
  readonly person: Commands;
  readonly opening: Commands;
  readonly poll: Commands;
  readonly marker: Commands;
  #waiting = new Map<number, { resolve: (frame: Frame | null) => void; reject: (error: NoAnswer) => void }>();
  #last = 0;

  constructor(private readonly link: FeedLink) {
    this.person = new Commands(this.#asker(Priority.Person));
    this.opening = new Commands(this.#asker(Priority.Opening));
    this.poll = new Commands(this.#asker(Priority.Poll));
    this.marker = new Commands(this.#asker(Priority.Marker));
  }

  take(message: Extract<FromFeed, { op: "answer" | "no-answer" }>): void {
    const waiting = this.#waiting.get(message.id);
    this.#waiting.delete(message.id);
    if (message.op === "answer") waiting?.resolve(message.frame);
    else waiting?.reject(new NoAnswer(message.reason));
  }

  #asker(priority: Priority): Ask {
    return (request) =>
      new Promise<never>((resolve, reject) => {
        const id = ++this.#last;
        this.#waiting.set(id, { resolve: resolve as unknown as (frame: Frame | null) => void, reject });
        this.link.post({ op: "ask", id, request, priority });
      });
  }
}
