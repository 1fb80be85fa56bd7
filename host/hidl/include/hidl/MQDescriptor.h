// Included by every generated header; the interfaces here carry no fast
// message queues, so there is nothing to declare.
#pragma once
