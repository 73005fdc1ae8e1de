// Starts s3rver, an independent S3 implementation, on a free loopback port for
// one test and prints "listening on http://127.0.0.1:PORT". Credentials are
// s3rver's fixed pair S3RVER / S3RVER. Ends when stdin closes or on SIGTERM.
import S3rver from 's3rver';

const directory = process.argv[2];
if (!directory) {
  console.error('usage: node s3rver-run.mjs DIRECTORY');
  process.exit(2);
}
const server = new S3rver({ address: '127.0.0.1', port: 0, silent: true, directory });
const { address, port } = await server.run();
console.log(`listening on http://${address}:${port}`);

const stop = async () => {
  await server.close();
  process.exit(0);
};
process.on('SIGTERM', stop);
process.on('SIGINT', stop);
process.stdin.on('end', stop);
process.stdin.resume();
