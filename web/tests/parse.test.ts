import assert from "node:assert/strict";
import { describe, test } from "node:test";
import { BadFrame, parseFrame, responseName } from "../src/protocol/parse";
import { numberText } from "../src/protocol/exact_number";
import { readPlainValue } from "../src/protocol/value_text";

const value = (members: string) =>
  `{\n    "response": "generic_sig_value",\n    "signal_key": ["Speed", "02"],\n    "ksl_offset": 0,\n    "timestamp": 1795235530958165,\n    ${members},\n    "status": "OK"\n}`;

describe("a frame", () => {
  test("of a value has its number, and every microsecond of its stamp", () => {
    const frame = parseFrame(value('"value": 12.50'));
    assert.deepEqual(frame, {
      response: "generic_sig_value",
      status: "OK",
      errorCode: "",
      errorMessage: "",
      busError: "",
      key: ["Speed", "02"],
      offset: 0,
      timestamp: 1795235530958165,
      number: 12.5,
      text: "",
      description: "",
    });
  });

  test("keeps every digit of a number beyond 2^53", () => {
    const text = (members: string) => {
      const frame = parseFrame(value(members));
      assert.equal(frame.response, "generic_sig_value");
      return "text" in frame ? frame.text : "";
    };
    assert.equal(text('"value": 18446744073709551615'), "18446744073709551615");
    assert.equal(text('"value": -9007199254740993'), "-9007199254740993");
    assert.equal(text('"value": 9007199254740991'), "");
    // A text that looks like the member does not mislead it.
    assert.equal(text('"value_description": "\\"value\\": 1,", "value": 9007199254740993'), "9007199254740993");
    assert.equal(text('"more": {"value": 5}, "value": 9007199254740995'), "9007199254740995");
  });

  test("of a number too large for a double is a text", () => {
    const frame = parseFrame(value('"value": 1e999'));
    assert.ok(frame.response === "generic_sig_value");
    assert.equal(frame.number, null);
    assert.equal(frame.text, "1e999");
  });

  test("that says that there is no value yet has none", () => {
    const frame = parseFrame(
      '{"response":"generic_sig_value","signal_key":["a","b"],"interval":-1,"status":"ERROR","error_code":"no_value"}',
    );
    assert.ok(frame.response === "generic_sig_value");
    assert.ok(Number.isNaN(frame.timestamp));
  });

  test("of a marker that is refused is no event", () => {
    const frame = parseFrame('{"response":"set_trigger","status":"ERROR","error_code":"wait for logger info"}');
    assert.equal(frame.response, "other");
    assert.equal(frame.errorCode, "wait for logger info");
  });

  test("with what the bus says has it in one text", () => {
    const frame = parseFrame(
      '{"response":"set_audio_file","status":"ERROR","krp_status":"ERROR","error_code":"krpbus_error","krp_error_code":"KRPERROR_NOT_FOUND","krp_error_description":"none"}',
    );
    assert.equal(frame.busError, "ERROR, KRPERROR_NOT_FOUND, none");
  });

  test("of a command that is not known is kept by its name", () => {
    const frame = parseFrame('{"response":"dance","status":"ERROR","error_code":"invalid_command"}');
    assert.deepEqual(frame, {
      response: "other",
      name: "dance",
      status: "ERROR",
      errorCode: "invalid_command",
      errorMessage: "",
      busError: "",
    });
  });

  test("of a neighbour list is a list of texts", () => {
    const frame = parseFrame('{"response":"get_ksl_network","ksl_network":["a","b"],"status":"OK"}');
    assert.ok(frame.response === "get_ksl_network");
    assert.deepEqual(frame.neighbours, ["a", "b"]);
  });
});

describe("a value as the logger writes it", () => {
  const written = (change: Partial<Record<"name" | "mac" | "offset" | "stamp" | "more" | "value" | "end", string>> = {}) => {
    const { name, mac, offset, stamp, more, value, end } = {
      ...{ name: '"Speed"', mac: '"02:00:00:00:00:02"', offset: "8", stamp: "1795235530958165", more: "", value: "12.50", end: "" },
      ...change,
    };
    return `{\n    "response": "generic_sig_value",\n    "signal_key": [\n        ${name},\n        ${mac}\n    ],\n    "ksl_offset": ${offset},\n    "timestamp": ${stamp},\n    ${more}"value": ${value},\n    "status": "OK"\n}${end}`;
  };
  // What becomes of a text, with JSON's own reader where a line is added behind it.
  const outcome = (text: string) => {
    try {
      return parseFrame(text);
    } catch (error) {
      assert.ok(error instanceof BadFrame);
      return error.message.startsWith("not JSON") ? "not JSON" : error.message;
    }
  };
  const asJson = (text: string) => outcome(`${text}\n`);

  test("is read without JSON's reader when it is a plain number", () => {
    for (const value of ["0", "-7", "12.50", "123456789012345"]) assert.notEqual(readPlainValue(written({ value })), null, value);
    assert.equal(readPlainValue(written({ end: "\n" })), null);
  });

  test("is read as JSON reads it, whatever stands in it", () => {
    const numbers =
      '0 -0 0.0 -0.0 7 -7 12.50 0.1 -0.30000000000000004 123456789012345 12345678901234.5 1234567890123456 9007199254740991 9007199254740992 -9007199254740993 18446744073709551615 1.7976931348623157e308 1e999 1E5 0.000000000000001 00 01 -01 1. .5 +5 - -- 1.2.3 0x10 1_0 1,2 Infinity NaN null true [1] "on" "" {}'.split(
        " ",
      );
    const texts = ['"Speed"', '"a\\"b"', '"\\u00e4"', '"\\x"', '"\\"timestamp\\": 5"', '"a\tb"', '""', "5", '"timestamp": 5', '"a", "b"'];
    const cases = [
      ...["", " ", "1 ", " 1", ...numbers].flatMap((number) => [{ value: number }, { stamp: number }, { offset: number }]),
      ...texts.flatMap((text) => [{ name: text }, { mac: text }]),
      { more: '"value_description": "first",\n    ' },
      { more: '"value": 5,\n    ' },
      { value: '1,\n    "value": 2' },
      { value: '1,\n    "status": "ERROR"' },
    ];
    for (const change of cases) {
      const text = written(change);
      // Twice: the second time the beginning is known.
      for (let time = 0; time < 2; ++time) assert.deepEqual(outcome(text), asJson(text), text);
      for (const cut of [1, 2, 10, 30]) assert.deepEqual(outcome(text.slice(0, -cut)), asJson(text.slice(0, -cut)));
    }
  });

  test("has the very double that is nearest to its digits", () => {
    let seed = 1;
    const random = () => (seed = (seed * 48_271) % 2_147_483_647) / 2_147_483_647;
    for (let round = 0; round < 20_000; ++round) {
      const digits = String(Math.floor(random() * 10 ** Math.ceil(random() * 16)));
      const point = Math.floor(random() * digits.length);
      const value = `${random() < 0.5 ? "-" : ""}${digits.slice(0, point) || "0"}.${digits.slice(point)}`;
      const frame = parseFrame(written({ value }));
      assert.ok(frame.response === "generic_sig_value");
      assert.ok(Object.is(frame.number, JSON.parse(value)), value);
    }
  });
});

describe("what is no frame", () => {
  const reasons: readonly (readonly [string, string])[] = [
    ["[1]", "the frame is no object"],
    ["{}", '"response" is missing'],
    ['{"response": 5}', '"response" is no text'],
    ['{"response":"ping","status":"FINE"}', '"status" is none that is known'],
    ['{"response":"generic_sig_value","signal_key":"Speed","value":1}', '"signal_key" is no pair of texts'],
    ['{"response":"generic_sig_value","signal_key":["a","b"],"timestamp":"now","value":1}', '"timestamp" is no number'],
    ['{"response":"generic_sig_value","signal_key":["a","b"],"timestamp":1,"value":{}}', '"value" is neither a number nor a text'],
    ['{"response":"generic_sig_value","signal_key":["a","b"],"timestamp":1,"status":"OK"}', '"value" is missing'],
    ['{"response":"get_trigger","markers":[5]}', '"markers"[0] is no object'],
    ['{"response":"get_configs","configs":{}}', '"configs" is no list'],
    ['{"response":"busload_data","timestamp":1,"data":[]}', '"data" is no object'],
  ];
  for (const [text, reason] of reasons) {
    test(`is told why: ${reason}`, () => {
      assert.throws(
        () => parseFrame(text),
        (error: unknown) => error instanceof BadFrame && error.message === reason,
      );
    });
  }

  test("is told why: no JSON", () => {
    assert.throws(
      () => parseFrame("{"),
      (error: unknown) => error instanceof BadFrame && error.message.startsWith("not JSON: "),
    );
  });
});

test("the name of a frame is read without parsing the rest", () => {
  assert.equal(responseName('{\n    "response": "get_trigger",\n    broken'), "get_trigger");
  assert.equal(responseName('{"status": "OK"}'), "");
});

test("the text of a number is found only where it is one", () => {
  assert.equal(numberText('{"a": [1, {"b": 2}], "b": -3.5e7}', "b"), "-3.5e7");
  assert.equal(numberText('{"a": "b", "b": "3"}', "b"), "");
});
