// What every program that links the client's libraries costs.
int main() {}
