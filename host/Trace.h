#pragma once

// From now on writes a line to the log for each call that was answered, with long texts cut and
// bytes as a count:
//   14:03:07.482 request_read(path=/traces/t1.bin, count=65536) = true, 1.24 ms
// To be called before the first call; without it nothing is gathered about calls.
void traceCalls();
