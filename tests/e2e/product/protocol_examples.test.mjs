// Every exchange that docs/protocol.md shows, with a real logger network: what it says is sent is sent, and what it says
// comes back has to come back, member for member.
import assert from "node:assert/strict";
import { readFileSync, writeFileSync } from "node:fs";
import os from "node:os";
import path from "node:path";
import { describe, test } from "node:test";
import { makeConfigurations } from "../../kit/js/configurations.mjs";
import { completeInfo, Network } from "../../kit/js/network.mjs";
import * as paths from "../../kit/js/paths.mjs";
import { until } from "../../kit/js/wait.mjs";

const [kFront, kRear] = ["02:00:00:00:00:01", "02:00:00:00:00:02"];
// What takes a logger that stays silent; the test of triggers has one.
const kElsewhere = ["not all triggers received"];
// The name that the document's audio file got from its logger.
const kDocumentedFile = "1112104387.wav";
const kNote = { name: "note", file_extension: "wav", marker_id: "Trigger 7", start_time: 1700000000, end_time: 1700000012 };

// {heading, steps: [{request, frames}]} of the document's sections, in its order. A step without a request is what
// comes unasked.
function documentedSections() {
  const text = readFileSync(path.join(paths.sourceDir, "docs/protocol.md"), "utf8");
  return text
    .split(/^(?=## )/m)
    .map((section) => ({
      heading: /^## (.*)$/m.exec(section)?.[1],
      steps: [...section.matchAll(/```\n([^]*?)```/g)].flatMap(([, block]) => stepsOf(block)),
    }))
    .filter(({ steps }) => steps.length > 0);
}

const stepsOf = (block) =>
  block
    .split(/^(?=> )/m)
    .filter((step) => step.trim() !== "")
    .map((step) => ({
      request: /^> (.*)$/m.exec(step)?.[1],
      frames: [...step.matchAll(/^< (\{[^]*?^ {2}\})$/gm)]
        .map(([, frame]) => frame)
        .filter((frame) => !kElsewhere.some((words) => frame.includes(words))),
    }));

// A frame of the document as a condition. Where it leaves something out ("..."), only what stands at its ends counts.
function conditionOf(frame) {
  const outer = (name) => new RegExp(`^ {6}"${name}": "(.*)"`, "m").exec(frame)?.[1];
  const fixed = ["response", "status", "error_code", "krp_error_code"].map((name) => [name, outer(name)]);
  const isWhole = !/^\s+\.\.\.$/m.test(frame);
  const names = isWhole && Object.keys(JSON.parse(frame)).join();
  const data = isWhole && Object.keys(JSON.parse(frame).data ?? {}).join();
  return (answer) =>
    fixed.every(([name, value]) => answer[name] === value) &&
    (!isWhole || (Object.keys(answer).join() === names && Object.keys(answer.data ?? {}).join() === data));
}

function send(client, request, audioFile) {
  const binary = /^\(binary frame of (\d+) bytes\)$/.exec(request);
  client.send(binary ? Buffer.alloc(Number(binary[1])) : request.replaceAll(kDocumentedFile, audioFile ?? kDocumentedFile));
}

// Where the document tells of an upload that stands announced, or that there is none, makes it so.
async function prepareUpload(client, frames) {
  const text = frames.join();
  const isAnnounced = /(in progress|upload progress|"error_msg"): "?name: note;/.test(text);
  if (!isAnnounced && !text.includes("no_data_upload")) return;
  await client.ask("cancel_data_upload");
  client.skipAll();
  if (isAnnounced) await client.ask("upload_audio_file", kNote);
}

// Loggers on a busy machine may need longer than their information is waited for: the document says to ask again then.
function asksAgain(client) {
  const isUnfinished = ({ response, status }) => response === "get_logger_info" && status === "PROGRESS";
  const count = () => client.answers.filter(isUnfinished).length;
  let unfinished = count();
  return () => {
    if (count() === unfinished) return;
    unfinished = count();
    client.send(JSON.stringify({ command: "get_logger_info" }));
  };
}

// Plays the steps; every documented frame has to come, each one only once.
async function play(client, steps) {
  const taken = new Set();
  const audioFile = () => client.answers.flatMap(({ audio_list }) => audio_list ?? []).at(-1)?.name;
  for (const { request, frames } of steps) {
    await prepareUpload(client, frames);
    const before = new Set(client.answers);
    const askAgainIfUnfinished = asksAgain(client);
    if (request !== undefined) send(client, request, audioFile());
    for (const frame of frames) {
      const isIt = conditionOf(frame);
      const found = await until(
        () => `${frame}\nafter ${request}; came: ${client.frames.slice(-5).join("\n")}`,
        () => {
          askAgainIfUnfinished();
          return client.answers.find((answer) => !taken.has(answer) && (request === undefined || !before.has(answer)) && isIt(answer));
        },
      );
      taken.add(found);
    }
  }
}

function recording() {
  const file = path.join(os.tmpdir(), "speed.csv");
  writeFileSync(file, "time,Speed [km/h]\n0,12.5\n0.5,31\n1,40\n");
  return file;
}

// As the document says: two loggers, the exchanges about buses being from a test drive.
const startNetwork = ([front, rear]) =>
  Network.start({
    loggers: [
      { mac: kFront, name: "Front", type: "Stratolog2", source: front },
      { mac: kRear, name: 'Rear \u00e4\u00f6 "axle"', type: "Stratolog Pocket", source: rear, args: [["--network-offset", 8]] },
    ],
  });

describe("the protocol's document", { skip: !paths.isolated && "needs a /tmp and /var/opt of its own" }, () => {
  const sections = documentedSections();

  test("shows exchanges of every command", () => {
    const requests = sections.flatMap(({ steps }) => steps).filter(({ request }) => request !== undefined);
    assert.ok(requests.length > 40, `${requests.length}`);
  });

  for (const { heading, steps } of sections) {
    test(`is right about: ${heading}`, async () => {
      makeConfigurations();
      const network = await startNetwork(heading === "Bus load" ? ["drive", "drive"] : ["host", recording()]);
      network.expectInLog(/./);
      network.expectOfLoggers(/./);
      try {
        const client = await network.connect();
        if (heading !== "Connecting") await completeInfo(client);
        await play(client, steps);
      } finally {
        await network.stop();
      }
    });
  }
});
