// One request in a script of its own: Mosaro writes `var mosaroRequest = "<request as JSON>";`
// before the shared text, loads the script, runs it and unloads it once the answer has come.

handle(mosaroRequest, function (answerText) {
    callMosaro("answer", answerText);
});
