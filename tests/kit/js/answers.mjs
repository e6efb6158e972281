// The texts that answers are held against: whole, with member order and indentation.

// An answer as it goes over the wire.
export function answerText(members) {
  return JSON.stringify(members, null, 4);
}

export function okText(response) {
  return answerText({ response, status: "OK" });
}

export function errorText(response, errorCode, description = "") {
  const members = { response, status: "ERROR", error_code: errorCode };
  if (description !== "") members.error_msg = description;
  return answerText(members);
}

// A request as the plug-in writes it into a description.
export function requestText(request) {
  return JSON.stringify(request, null, 4);
}
