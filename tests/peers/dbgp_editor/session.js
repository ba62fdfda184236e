// From the connection over breakpoints and steps to the end of the program, by
// the classes with which the editor listens and talks.
'use strict';

const assert = require('assert');
const {spawn} = require('child_process');
const fs = require('fs');
const os = require('os');
const path = require('path');
const {pathToFileURL} = require('url');

const client = 'nuclide/pkg/nuclide-debugger-php-rpc/lib/';
const {DbgpConnector} = require(client + 'DbgpConnector');
const {DbgpSocket} = require(client + 'DbgpSocket');
require(client + 'utils').default.setLevel('ERROR');

const MAIN = `|INCL part.inc
PROCEDURE ADD_ALL ADD_TEN
  VAR.N 1 + => VAR.N
END_PROCEDURE
30 => VAR.N ADD_ALL
DISPLAY 'n is ',VAR.N
`;
const PART = 'PROCEDURE ADD_TEN\n  VAR.N 10 + => VAR.N\nEND_PROCEDURE\n';

const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'dbgp editor '));
const uri = file => pathToFileURL(path.join(folder, file)).href;
fs.writeFileSync(path.join(folder, 'main.qor'), MAIN);
fs.writeFileSync(path.join(folder, 'part.inc'), PART);

async function session({socket, message}) {
  assert.equal(message.init.$.fileuri, uri('main.qor'));
  assert.equal(message.init.$.language, 'PHP');
  assert.equal(message.init.engine[0]._, 'XDebug for QorScript');

  const engine = new DbgpSocket(socket);
  const stops = [];
  const ended = new Promise(resolve => engine.onStatus((status, file, line) => {
    if (status === 'break' && file) stops.push(path.basename(file) + ':' + line);
    if (status === 'error') assert.fail(file);
    if (status === 'end') resolve();
  }));
  const property = async name => (await engine._callDebugger('property_get', `-n "${name}"`)).property[0];

  assert.equal(await engine.getStatus(), 'starting');
  assert.equal(await engine.setFeature('max_children', 100), true);
  for (const [file, line] of [['part.inc', 2], ['main.qor', 3], ['main.qor', 6]])
    assert.equal(await engine.setFileLineBreakpoint({filename: uri(file), lineNumber: line}), String(line));

  assert.equal(await engine.sendContinuationCommand('run'), 'break');
  const [frame] = (await engine.getStackFrames()).stack;
  assert.deepEqual({...frame.$}, {where: '{main}', level: '0', type: 'file', filename: uri('part.inc'), lineno: '2'});
  const {_: text, $: {type}} = await property('VAR.N');
  assert.deepEqual([text, type], ['30', 'int']);
  assert.equal(await engine.sendContinuationCommand('step_over'), 'break');
  assert.equal((await property('VAR.N'))._, '40');
  await engine.removeBreakpoint('3');
  const source = await engine._callDebugger('source', `-f ${uri('part.inc')}`);
  assert.equal(Buffer.from(source._, 'base64').toString(), PART);
  assert.equal(await engine.sendContinuationCommand('run'), 'break');
  assert.deepEqual(stops, ['part.inc:2', 'part.inc:3', 'main.qor:6']);

  // What the engine has no answer for stops neither side.
  await assert.rejects(engine.getBreakpoint('6'));
  await assert.rejects(engine.getContextsForFrame(0));
  assert.equal((await engine.evaluateOnCallFrame(0, 'VAR.N')).result.$.type, 'undefined');

  assert.equal(await engine.sendContinuationCommand('run'), 'stopped');
  await ended;
}

const connector = new DbgpConnector(0);
connector.onError(assert.fail);
const attached = new Promise(resolve => connector.onAttach(resolve));
connector.listen();
connector._server.on('listening', async () => {
  const address = 'localhost:' + connector._server.address().port;
  const program = spawn(process.argv[2], ['-cgi', '-script', 'main.qor', '-dbgp', address], {cwd: folder});
  let output = '';
  program.stdout.on('data', data => (output += data));
  program.stderr.pipe(process.stderr);
  const exited = new Promise(resolve => program.on('close', resolve));
  const hung = setTimeout(() => program.kill(), 30000);
  try {
    await session(await Promise.race([attached, exited.then(() => assert.fail(output))]));
    assert.equal(await exited, 0);
    assert.match(output, /^n is 41$/m);
    console.log('ok');
  } catch (error) {
    console.error(error, output);
    process.exitCode = 1;
    program.kill();
  }
  clearTimeout(hung);
  connector.dispose();
  fs.rmSync(folder, {recursive: true});
});
