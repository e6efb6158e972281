import assert from "node:assert/strict";
import { describe, test } from "node:test";
import { BadFrame, parseFrame, responseName } from "../src/protocol/parse";
import { numberText } from "../src/protocol/exact_number";

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
